#include "host/commands/Recording.h"

#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/base/Text.h"

#include <algorithm>

namespace host
{

namespace
{

constexpr AVRational kUsualRate = {30, 1}; // of a screen

constexpr Nanoseconds kPause = 20'000'000; // between two looks at keys and clock

// Sources that have given nothing by then won't.
constexpr Nanoseconds kLongestStart = 10 * kSecond;

// Of pictures and audio that wait for the encoder, in bytes.
constexpr size_t kMostWaiting = size_t{256} << 20;

// How much later than usual what comes may be before the encoder counts as too slow.
constexpr Nanoseconds kUsualLag = kSecond;

// What remains of a source to be judged.
class EndedSource final : public Source
{
public:
    explicit EndedSource(const Source& source) : Source(source) {}
    Item Next() override { return {}; }
};

} // namespace

LiveInputs OpenLiveInputs(const EncodeOptions& options, const Choice& choice, Messages& messages)
{
    if (options.input == "-" && options.audioInput == "-")
        throw HostError(kExitUsage, "only one input can come from the standard input");
    LiveInputs inputs;
    const bool isSeparate = choice.audio && !options.audioInput.empty();
    AudioFormat format = {};
    if (!options.isLibraryResampling)
        format = {options.sampleRate, options.channels};
    const AVRational rate = options.frameRate.value_or(kUsualRate);
    const Wanted wanted = {choice.video != nullptr, choice.audio && !isSeparate, format};
    inputs.main = std::make_shared<LiveInput>(options.input, wanted, rate, messages);
    if (isSeparate) {
        inputs.sound = std::make_shared<LiveInput>(options.audioInput, Wanted{false, true, format}, rate, messages);
        if (!inputs.sound->Audio())
            throw HostError(kExitInput, Format("%s holds no audio", options.audioInput.c_str()));
    }

    const Streams present = inputs.main->Present();
    if (!choice.video && present.video && !options.noVideo)
        messages.Say(Format("%s holds audio alone; the pictures are left out", options.output.c_str()));
    if (!choice.audio && (present.audio || !options.audioInput.empty()) && !options.noAudio)
        messages.Say(Format("%s holds video alone; the audio is left out", options.output.c_str()));
    if (!inputs.Video() && !inputs.Audio())
        throw HostError(kExitUsage, Format("nothing is left of %s to write", ShownName(options.input).c_str()));
    return inputs;
}

Recording::Recording(const EncodeOptions& options, const LiveInputs& inputs, bool isTimed, Messages& messages)
    : m_queue(std::make_shared<LiveQueue>(kMostWaiting)), m_isTimed(isTimed), m_messages(messages)
{
    Add(options.input, inputs.main);
    if (inputs.sound)
        Add(options.audioInput, inputs.sound);
}

void Recording::Add(const std::string& name, const std::shared_ptr<LiveInput>& input)
{
    auto ended = std::make_unique<EndedSource>(*input);
    auto reader = std::make_unique<LiveReader>(input, m_queue);
    m_longestDelay = std::max(m_longestDelay, input->Delay());
    m_inputs.push_back({ShownName(name), input, std::move(reader), std::move(ended)});
}

void Recording::Run(LiveJob& job, const Tally& tally, Progress& progress)
{
    const KeyReader keys;
    m_messages.Say(keys.IsListening() ? "recording; q or Ctrl-C ends it" : "recording");
    const Nanoseconds start = Moment::Now().steady;
    while (!IsAtEnd(job, keys)) {
        Step(job, kPause);
        if (!job.HasStarted() && Moment::Now().steady - start > kLongestStart)
            break;
        progress.Update(tally);
    }
    StopReaders();
    // What was taken before the end is still to be written.
    while (!job.IsOver() && (m_queue->HasAudio() || m_queue->HasPictures())) {
        Step(job, 0);
        progress.Update(tally);
    }
    job.End(job.IsOver());
    if (!job.HasStarted() && !InterruptSignal())
        throw HostError(kExitInput, Format("nothing came from %s", m_inputs.front().name.c_str()));
}

// A device that is gone leaves a picture that stands until the length is reached.
bool Recording::IsAtEnd(const LiveJob& job, const KeyReader& keys) const
{
    if (job.IsOver() || InterruptSignal())
        return true;
    for (char key = keys.Take(); key; key = keys.Take())
        if (key == 'q' || key == 'Q')
            return true;
    const bool hasDevice =
        std::any_of(m_inputs.begin(), m_inputs.end(), [](const Input& input) { return input.input->IsDevice(); });
    return m_queue->IsOver() && !(m_isTimed && hasDevice && job.HasStarted());
}

void Recording::Step(LiveJob& job, Nanoseconds patience)
{
    auto item = m_queue->Take(patience);
    const Nanoseconds now = Moment::Now().steady;
    m_isBehind |= item && now - item->time > m_longestDelay + kUsualLag;
    if (item)
        job.Take(std::move(*item));
    if (!m_queue->HasPictures())
        job.HoldPictures(now);
    if (!m_queue->HasAudio())
        job.HoldAudio(now);
    job.CountLost(m_queue->DroppedPictures());
    SayWhatIsWrong();
}

// Each once.
void Recording::SayWhatIsWrong()
{
    if (m_isBehind && !m_isBehindSaid) {
        m_messages.Warn("the encoder is too slow for the source; when too much waits, pieces are left out (a smaller "
                        "size, a lower rate or another encoder helps)");
        m_isBehindSaid = true;
    }
    const bool isOver =
        std::all_of(m_inputs.begin(), m_inputs.end(), [](const Input& input) { return input.reader->HasEnded(); });
    if (InterruptSignal() || (isOver && !m_isTimed))
        return;
    for (Input& input : m_inputs)
        if (!input.isSaid && input.reader->HasEnded() && (!isOver || input.input->IsDevice())) {
            m_messages.Warn(Format("nothing more comes from %s", input.name.c_str()));
            input.isSaid = true;
        }
}

void Recording::StopReaders()
{
    for (const Input& input : m_inputs)
        input.input->Stop();
    for (Input& input : m_inputs) {
        input.isSaid = true; // that it ends now is no news
        if (input.reader->Stop())
            input.ended = std::make_unique<EndedSource>(*input.input);
    }
}

Sources Recording::Ended() const
{
    Sources sources;
    sources.main = std::make_unique<EndedSource>(*m_inputs.front().ended);
    if (m_inputs.size() > 1)
        sources.separateAudio = std::make_unique<EndedSource>(*m_inputs.back().ended);
    return sources;
}

} // namespace host
