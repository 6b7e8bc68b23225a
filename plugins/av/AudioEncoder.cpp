#include "encmgr/Log.h"
#include "plugins/av/Encoder.h"
#include "plugins/av/Slots.h"
#include "plugins/support/Frames.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

constexpr int kPcmFrameSize = 1024; // of encoders that take any number of samples

// ---- what libavcodec says about an encoder: lists with an end mark, or null for no limit ----

const AVSampleFormat* SampleFormats(const AVCodec* codec)
{
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
    const void* list = nullptr;
    avcodec_get_supported_config(nullptr, codec, AV_CODEC_CONFIG_SAMPLE_FORMAT, 0, &list, nullptr);
    return static_cast<const AVSampleFormat*>(list);
#else
    return codec->sample_fmts;
#endif
}

const int* SampleRates(const AVCodec* codec)
{
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
    const void* list = nullptr;
    avcodec_get_supported_config(nullptr, codec, AV_CODEC_CONFIG_SAMPLE_RATE, 0, &list, nullptr);
    return static_cast<const int*>(list);
#else
    return codec->supported_samplerates;
#endif
}

// The format in which samples arrive if the encoder takes it, or else the first that it does.
AVSampleFormat ChooseSampleFormat(const AVCodec* codec)
{
    const AVSampleFormat* formats = SampleFormats(codec);
    if (!formats)
        return AV_SAMPLE_FMT_S16;
    for (const AVSampleFormat* format = formats; *format != AV_SAMPLE_FMT_NONE; ++format) {
        if (*format == AV_SAMPLE_FMT_S16)
            return *format;
    }
    return formats[0];
}

int NearestSampleRate(const EncoderEntry& entry, int wanted)
{
    const int* rates = SampleRates(CodecOf(entry));
    if (!rates)
        return std::min(wanted, entry.audio.maxSampleRate);
    int nearest = *rates;
    for (; *rates; ++rates) {
        if (std::abs(*rates - wanted) < std::abs(nearest - wanted))
            nearest = *rates;
    }
    return nearest;
}

void SetParameters(AVCodecContext& context, const EncoderEntry& entry, const EncodeParamAudio& audio)
{
    context.sample_fmt = ChooseSampleFormat(CodecOf(entry));
    context.sample_rate = audio.nSampleRate;
    context.time_base = {1, audio.nSampleRate};
    av_channel_layout_default(&context.ch_layout, audio.nChannels);
    if (entry.audio.channelBitRate == kNoBitRate)
        return;
    if (audio.nBitRate > 0)
        context.bit_rate = audio.nBitRate;
    else if (entry.audio.channelBitRate > 0)
        context.bit_rate = int64_t{std::min(entry.audio.channelBitRate, 4 * audio.nSampleRate)} * audio.nChannels;
}

// ---- the encoder ----

class AudioEncoder final : public Encoder
{
public:
    AudioEncoder(const EncoderEntry& entry, const EncodeParam* pJob) : Encoder(entry, pJob) {}

    bool Open();
    EncodedPackets& Take(const MEDIA_FRAME_AUDIO& block);
    EncodedPackets& Finish();

private:
    void Prepare(AVCodecContext& context) const override;
    bool MakeBuffers();
    bool Hold(const MEDIA_FRAME_AUDIO& block);
    bool EncodeHeld();

    int BlockAlign() const { return 2 * Context().ch_layout.nb_channels; }

    SwrContextPtr m_converter; // from interleaved 16 bits to the encoder's format; null if that is the same
    FramePtr m_frame;
    std::vector<uint8_t> m_held; // one frame in 16 bits; bytes, since a block may end in the middle of a sample
    size_t m_heldBytes = 0;
    int64_t m_samplesIn = 0;
    bool m_refusalLogged = false;
};

bool AudioEncoder::Open()
{
    if (!Encoder::Open({}))
        return false;
    if (MakeBuffers())
        return true;
    KXLogEx(L"wpav: %ls has no sample buffers.", Entry().name);
    return false;
}

void AudioEncoder::Prepare(AVCodecContext& context) const
{
    SetParameters(context, Entry(), Job().audio);
}

bool AudioEncoder::MakeBuffers()
{
    AVCodecContext& context = OpenContext();
    const int frameSize = context.frame_size > 0 ? context.frame_size : kPcmFrameSize;
    m_held.resize(static_cast<size_t>(frameSize) * static_cast<size_t>(BlockAlign()));

    m_frame.reset(av_frame_alloc());
    if (!m_frame)
        return false;
    m_frame->format = context.sample_fmt;
    m_frame->sample_rate = context.sample_rate;
    m_frame->nb_samples = frameSize;
    if (av_channel_layout_copy(&m_frame->ch_layout, &context.ch_layout) < 0 ||
        av_frame_get_buffer(m_frame.get(), 0) < 0)
        return false;

    if (context.sample_fmt == AV_SAMPLE_FMT_S16)
        return true;
    SwrContext* converter = nullptr;
    swr_alloc_set_opts2(&converter, &context.ch_layout, context.sample_fmt, context.sample_rate, &context.ch_layout,
                        AV_SAMPLE_FMT_S16, context.sample_rate, 0, nullptr);
    m_converter.reset(converter);
    return converter && swr_init(converter) >= 0;
}

EncodedPackets& AudioEncoder::Take(const MEDIA_FRAME_AUDIO& block)
{
    return Collect([&] {
        if (IsReadable(block, Context().sample_rate, Context().ch_layout.nb_channels))
            return Hold(block);
        if (!m_refusalLogged)
            KXLogEx(L"wpav: an audio block isn't of %d Hz, %d channels and 16 bits, or is empty.",
                    Context().sample_rate, Context().ch_layout.nb_channels);
        m_refusalLogged = true;
        return false;
    });
}

// Encodes each frame that is full, and keeps the rest.
bool AudioEncoder::Hold(const MEDIA_FRAME_AUDIO& block)
{
    bool areTaken = true;
    const auto* data = static_cast<const uint8_t*>(block.pData);
    for (size_t left = static_cast<size_t>(block.nDataSize); left > 0;) {
        const size_t piece = std::min(left, m_held.size() - m_heldBytes);
        memcpy(m_held.data() + m_heldBytes, data, piece);
        m_heldBytes += piece;
        data += piece;
        left -= piece;
        if (m_heldBytes == m_held.size() && !EncodeHeld())
            areTaken = false;
    }
    return areTaken;
}

EncodedPackets& AudioEncoder::Finish()
{
    return Collect([this] {
        const size_t blockAlign = static_cast<size_t>(BlockAlign());
        if (const size_t partial = m_heldBytes % blockAlign; partial != 0) {
            std::fill_n(m_held.begin() + static_cast<ptrdiff_t>(m_heldBytes), blockAlign - partial, uint8_t{0});
            m_heldBytes += blockAlign - partial;
        }
        const bool isRestTaken = m_heldBytes == 0 || EncodeHeld();
        return Encode(nullptr) && isRestTaken;
    });
}

// Encodes the sample blocks held, a full frame but for the last one.
bool AudioEncoder::EncodeHeld()
{
    const int samples = static_cast<int>(m_heldBytes / static_cast<size_t>(BlockAlign()));
    const size_t bytes = m_heldBytes;
    m_heldBytes = 0;
    const int result = av_frame_make_writable(m_frame.get()); // the encoder may still hold the last frame
    if (result < 0) {
        Log(L"has no sample buffer", result);
        return false;
    }
    m_frame->nb_samples = samples;
    m_frame->pts = m_samplesIn;
    m_samplesIn += samples;
    if (!m_converter) {
        memcpy(m_frame->data[0], m_held.data(), bytes);
        return Encode(m_frame.get());
    }
    const uint8_t* source = m_held.data();
    const int converted = swr_convert(m_converter.get(), m_frame->extended_data, samples, &source, samples);
    if (converted != samples) {
        Log(L"can't convert samples", converted < 0 ? converted : AVERROR_BUG);
        return false;
    }
    return Encode(m_frame.get());
}

// ---- slots ----

// Whether libavcodec opens the encoder for these parameters; some refuse rates in the middle of their range.
bool Opens(const EncoderEntry& entry, const EncodeParamAudio& audio)
{
    const AVCodec* codec = CodecOf(entry);
    const CodecContextPtr context(avcodec_alloc_context3(codec));
    if (!context)
        return false;
    SetParameters(*context, entry, audio);
    context->log_level_offset = kSilent;
    return avcodec_open2(context.get(), codec, nullptr) >= 0;
}

// The parameters nearest to those wanted that the encoder takes. False if there are none.
bool Settle(const EncoderEntry& entry, EncodeParamAudio& audio)
{
    if (audio.nSampleRate <= 0 || audio.nChannels <= 0 || audio.nBitRate < 0)
        return false;
    EncodeParamAudio settled = audio;
    settled.nBitsPerSample = 16;
    if (audio.nChannels > entry.audio.maxChannels)
        settled.nChannels = std::min(2, entry.audio.maxChannels); // the library converts to no more than two
    if (settled.nBitRate > 0)
        settled.nBitRate = std::max(settled.nBitRate, kLowestBitRate);
    const int nearest = NearestSampleRate(entry, audio.nSampleRate);
    constexpr int kSearch = 10; // high rates may have to be multiples of 10
    for (int offset = 0; offset <= kSearch; ++offset) {
        for (const int rate : {nearest - offset, nearest + offset}) {
            settled.nSampleRate = rate;
            if (rate <= 0 || !Opens(entry, settled))
                continue;
            audio = settled;
            return true;
        }
    }
    return false;
}

// With options of its own, a job that can't be encoded is refused as a whole and not left without audio.
bool TakesOptions(const EncoderEntry& entry, const EncodeParamAudio& audio)
{
    EncodeParam job = {};
    job.audio = audio;
    return !KXGetOptions(audio.dwOptions) || AudioEncoder(entry, &job).Open();
}

int ReviseAudio(EncodeParamAudio* pAudio)
{
    const EncoderEntry* entry = FindEncoder(pAudio->dwFourCC, ENCODER_TYPE_AUDIO);
    if (!entry)
        return 0;
    if (Settle(*entry, *pAudio))
        return TakesOptions(*entry, *pAudio);
    KXLogEx(L"wpav: %ls can't encode %d Hz, %d channels at %d bits per second.", entry->name, pAudio->nSampleRate,
            pAudio->nChannels, pAudio->nBitRate);
    return 0;
}

void* CreateAudioEncoder(KXDWORD dwFourCC, EncodeParam* pParam)
{
    const EncoderEntry* entry = FindEncoder(dwFourCC, ENCODER_TYPE_AUDIO);
    if (!entry)
        return nullptr;
    auto encoder = std::make_unique<AudioEncoder>(*entry, pParam);
    return encoder->Open() ? encoder.release() : nullptr;
}

int EncodeBlock(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD* pnOut)
{
    EncodedPackets& packets = static_cast<AudioEncoder*>(hEncoder)->Take(pFrame->audio);
    *ppOut = &packets;
    *pnOut = static_cast<KXDWORD>(packets.count);
    return packets.accepted;
}

// The samples that don't fill a frame, and all that the encoder held back. There is no delay slot: the silence that it
// would bring is none of the host's audio.
void GetAudioExtra(void* hEncoder, void** ppValue1, KXDWORD* pnValue2)
{
    EncodedPackets& packets = static_cast<AudioEncoder*>(hEncoder)->Finish();
    *ppValue1 = &packets;
    *pnValue2 = static_cast<KXDWORD>(packets.count);
}

void DestroyAudioEncoder(void* hEncoder)
{
    delete static_cast<AudioEncoder*>(hEncoder);
}

} // namespace

void FillAudioSlots(ENCODER_ITEM& item)
{
    item.pfnCreate = CreateAudioEncoder;
    item.pfnEncode = EncodeBlock;
    item.pfnDestroy = DestroyAudioEncoder;
    item.pfnGetAudioExtra = GetAudioExtra;
    item.pfnReviseAudio = ReviseAudio;
}
