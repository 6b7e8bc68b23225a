#include "host/sources/TestCard.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/base/Values.h"
#include "host/sources/Libav.h"

#include <algorithm>
#include <cmath>
#include <numbers>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

constexpr int64_t kBlockSamples = 1024;
constexpr int kFlashPictures = 2;
constexpr double kToneHertz = 1000.0;
constexpr double kTonePeak = 10000.0; // a third of full scale

[[noreturn]] void RefuseParameter(std::string_view parameter)
{
    throw HostError(kExitUsage, Format("bad test card parameter \"%.*s\"; --help shows what there is",
                                       static_cast<int>(parameter.size()), parameter.data()));
}

void SetParameter(TestCardSettings& settings, std::string_view parameter)
{
    const size_t equals = parameter.find('=');
    if (equals == std::string_view::npos)
        RefuseParameter(parameter);
    const std::string_view key = parameter.substr(0, equals);
    const std::string_view value = parameter.substr(equals + 1);
    if (key == "size") {
        const auto size = ParseSize(value, 64, 8192);
        if (!size)
            RefuseParameter(parameter);
        settings.width = size->width;
        settings.height = size->height;
    } else if (key == "rate") {
        const auto rate = ParseRate(value);
        if (!rate || av_q2d(*rate) < 1.0)
            RefuseParameter(parameter);
        settings.frameRate = *rate;
    } else if (key == "seconds") {
        const auto seconds = ParseNumber(value);
        if (!seconds || *seconds <= 0.0 || *seconds > 360000.0)
            RefuseParameter(parameter);
        settings.seconds = *seconds;
    } else if (key == "aspect") {
        const auto aspect = ParseAspect(value);
        if (!aspect)
            RefuseParameter(parameter);
        settings.displayAspect = *aspect;
    } else if (key == "audio" && value == "none") {
        settings.hasAudio = false;
    } else if (key == "audio") {
        const size_t x = value.find('x');
        const auto rate = ParseInteger(value.substr(0, x), 1000, 384000);
        const auto channels =
            x == std::string_view::npos ? std::optional<int64_t>(2) : ParseInteger(value.substr(x + 1), 1, 2);
        if (!rate || !channels)
            RefuseParameter(parameter);
        settings.hasAudio = true;
        settings.audio = {static_cast<int>(*rate), static_cast<int>(*channels)};
    } else {
        RefuseParameter(parameter);
    }
}

// Width of a pixel to its height, from the shape of the whole picture.
AVRational PixelAspectOf(const TestCardSettings& settings)
{
    if (settings.displayAspect.num == 0)
        return {1, 1};
    AVRational aspect = {1, 1};
    av_reduce(&aspect.num, &aspect.den, static_cast<int64_t>(settings.displayAspect.num) * settings.height,
              static_cast<int64_t>(settings.displayAspect.den) * settings.width, 32767);
    return aspect;
}

} // namespace

const char* const kTestCardHelp =
    "Test card: INPUT (or -a) may be \"testcard:\" with parameters behind the colon, separated by commas:\n"
    "  size=640x360     picture size\n"
    "  rate=25          pictures per second, N or N/D\n"
    "  seconds=10       length\n"
    "  aspect=16:9      shape of the whole picture, for pixels that aren't square\n"
    "  audio=48000x2    sample rate and channels (1 or 2), or none\n"
    "Once a second, from second 1 on, its top eighth flashes white for two pictures, and a 1 kHz tone of the same\n"
    "length begins with the flash.\n";

TestCardSettings ParseTestCard(std::string_view name)
{
    TestCardSettings settings;
    std::string_view rest = name.substr(name.find(':') + 1);
    while (!rest.empty()) {
        const size_t comma = std::min(rest.find(','), rest.size());
        SetParameter(settings, rest.substr(0, comma));
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return settings;
}

TestCard::TestCard(const TestCardSettings& settings, const Wanted& wanted)
    : m_settings(settings), m_painter({settings.width, settings.height, settings.frameRate, PixelAspectOf(settings)})
{
    m_settings.audio = wanted.audioFormat.Or(settings.audio);
    const AVRational rate = settings.frameRate;
    m_pictures = std::max<int64_t>(1, std::llround(settings.seconds * av_q2d(rate)));
    m_samples = SampleAt(m_pictures);
    m_duration = av_rescale(m_pictures, kSecond * rate.den, rate.num);
    m_present = {true, settings.hasAudio};
    if (wanted.video)
        m_video = VideoFormat{settings.width,
                              settings.height,
                              rate,
                              PixelAspectOf(settings),
                              {.matrix = UsualMatrix(settings.width, settings.height)}};
    if (!wanted.audio || !settings.hasAudio)
        return;
    m_audio = m_settings.audio;
    m_tone.resize(static_cast<size_t>(SampleAt(kFlashPictures)));
    const double step = 2.0 * std::numbers::pi * kToneHertz / m_audio->sampleRate;
    for (size_t i = 0; i < m_tone.size(); ++i)
        m_tone[i] = static_cast<int16_t>(std::lround(kTonePeak * std::sin(step * static_cast<double>(i))));
}

// In the order of time; a picture goes before the block that begins with it.
Item TestCard::Next()
{
    const bool hasPicture = m_video && m_nextPicture < m_pictures;
    const bool hasBlock = m_audio && m_nextSample < m_samples;
    if (hasPicture && (!hasBlock || SampleAt(m_nextPicture) <= m_nextSample))
        return NextPicture();
    if (hasBlock)
        return NextBlock();
    return {};
}

Item TestCard::NextPicture()
{
    const auto frame = NewPicture(AV_PIX_FMT_YUV420P, m_settings.width, m_settings.height);
    m_painter.Paint(*frame, m_nextPicture, IsFlash(m_nextPicture));

    const AVRational rate = m_settings.frameRate;
    const Nanoseconds time = av_rescale(m_nextPicture, kSecond * rate.den, rate.num);
    const Nanoseconds end = av_rescale(++m_nextPicture, kSecond * rate.den, rate.num);
    return {Item::Kind::kPicture, time, end - time, frame, {}};
}

Item TestCard::NextBlock()
{
    const int64_t count = std::min(kBlockSamples, m_samples - m_nextSample);
    const Nanoseconds time = av_rescale(m_nextSample, kSecond, m_settings.audio.sampleRate);
    Item block = {Item::Kind::kAudio, time, 0, nullptr, {}};
    block.samples.reserve(static_cast<size_t>(count * m_settings.audio.channels));
    for (int64_t i = 0; i < count; ++i)
        block.samples.insert(block.samples.end(), static_cast<size_t>(m_settings.audio.channels),
                             SampleOf(m_nextSample + i));
    m_nextSample += count;
    return block;
}

// The first picture that begins at or after the second.
int64_t TestCard::FirstFlashOf(int64_t second) const
{
    return av_rescale_rnd(second, m_settings.frameRate.num, m_settings.frameRate.den, AV_ROUND_UP);
}

bool TestCard::IsFlash(int64_t picture) const
{
    // The flash that this picture may belong to began in this second or the one before.
    const int64_t second = av_rescale(picture, m_settings.frameRate.den, m_settings.frameRate.num);
    for (int64_t s = std::max<int64_t>(1, second - kFlashPictures); s <= second + 1; ++s)
        if (picture >= FirstFlashOf(s) && picture < FirstFlashOf(s) + kFlashPictures)
            return true;
    return false;
}

// The sample at which a picture begins.
int64_t TestCard::SampleAt(int64_t picture) const
{
    const int64_t perPicture = static_cast<int64_t>(m_settings.audio.sampleRate) * m_settings.frameRate.den;
    return av_rescale(picture, perPicture, m_settings.frameRate.num);
}

int16_t TestCard::SampleOf(int64_t position) const
{
    const int64_t second = position / m_settings.audio.sampleRate;
    for (int64_t s = std::max<int64_t>(1, second - kFlashPictures); s <= second; ++s) {
        const int64_t offset = position - SampleAt(FirstFlashOf(s));
        if (offset >= 0 && offset < static_cast<int64_t>(m_tone.size()))
            return m_tone[static_cast<size_t>(offset)];
    }
    return 0;
}

} // namespace host
