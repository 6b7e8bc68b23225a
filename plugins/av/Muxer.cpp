#include "encmgr/Log.h"
#include "plugins/av/Encoder.h"
#include "plugins/av/Metadata.h"
#include "plugins/av/SequenceName.h"
#include "plugins/av/Slots.h"
#include "plugins/av/VideoSignal.h"
#include "plugins/support/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

namespace
{

// One file being written.
//
// Close callback: n1 is 0 if the file is complete and every write succeeded, otherwise 1; n2 counts the pictures in
// the file; n3 is the length of its audio in milliseconds. The result isn't read.
class Muxer
{
public:
    explicit Muxer(const ContainerEntry& container) : m_container(container) {}

    // Adds a stream for each encoder of the job. False, with a log line, if the file can't be made.
    bool Open(const wchar_t* path, const EncodeParam* pJob);

    // Whether the frame that the packets came from was taken and they were all written.
    bool Write(int type, const EncodedPackets* packets);

    // Writes what is left. Whether the file is complete.
    bool Close();

    unsigned int Pictures() const { return m_pictures; }
    unsigned int AudioMilliseconds() const;

private:
    struct Stream {
        AVStream* stream = nullptr;
        AVRational timeBase{}; // of the encoder's packets
    };

    bool AddStream(const EncodeParam* pJob, int type);
    void SetAll(const char* options);
    bool SetOptions(const Encoder& encoder, AVStream& stream);
    int SetOption(const Option& option);
    bool IsLeadIn(const AVPacket& encoded) const;
    int WritePacket(int type, const AVPacket& encoded);
    bool Fail(const wchar_t* what, int error);

    const ContainerEntry& m_container;
    std::wstring m_path;
    FormatContextPtr m_format;
    PacketPtr m_packet;
    Stream m_streams[2]; // by ENCODER_TYPE_AUDIO and ENCODER_TYPE_VIDEO
    unsigned int m_pictures = 0;
    int64_t m_audioEnd = 0;         // in the encoder's time base
    bool m_isSinglePicture = false; // the path has no place for a number
    bool m_hasHeader = true;        // of the video's encoder
    bool m_complete = true;
    int m_failure = 0; // libav's first error
};

bool Muxer::Open(const wchar_t* path, const EncodeParam* pJob)
{
    m_path = path ? path : L"";
    const auto narrow = Utf8Path(path);
    if (!narrow) {
        KXLog(L"wpav: the path is empty or isn't Unicode text.");
        return false;
    }
    if (pJob->bVideoDisabled && pJob->bAudioDisabled) {
        KXLogEx(L"wpav: [%ls] would have neither video nor audio.", m_path.c_str());
        return false;
    }
    const Encoder* const video = Encoder::OfJob(pJob, ENCODER_TYPE_VIDEO);
    const bool isFirstPass = video && video->IsFirstPass();
    // The scheme keeps a name with a colon from being taken for an address.
    m_isSinglePicture = m_container.Has(kPictureFiles) && !HasNumber(*narrow);
    const bool isSequence = m_container.Has(kPictureFiles) && !m_isSinglePicture;
    const std::string url = "file:" + (isFirstPass ? "/dev/null" : isSequence ? SequencePath(*narrow) : *narrow);
    AVFormatContext* format = nullptr;
    int result = avformat_alloc_output_context2(&format, MuxerOf(m_container), nullptr, url.c_str());
    m_format.reset(format);
    m_packet.reset(av_packet_alloc());
    if (result < 0 || !m_packet)
        return Fail(L"can't make", result < 0 ? result : AVERROR(ENOMEM));
    m_format->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL; // what Holds admits, FLAC in MP4 say
    if (m_container.Has(kSequenceOnly))
        m_format->avoid_negative_ts = 0; // a shift would put empty pictures in front
    SetAll(m_container.options);
    if (m_isSinglePicture)
        SetAll("update=1"); // takes the name as it is

    if (!pJob->bVideoDisabled && !AddStream(pJob, ENCODER_TYPE_VIDEO))
        return false;
    if (!pJob->bAudioDisabled && !AddStream(pJob, ENCODER_TYPE_AUDIO))
        return false;
    if (isFirstPass)
        SetAll("movflags=-faststart"); // would read the file again
    result = m_container.Has(kPictureFiles) ? 0 : avio_open(&m_format->pb, url.c_str(), AVIO_FLAG_WRITE);
    if (result >= 0)
        result = avformat_write_header(m_format.get(), nullptr);
    if (result >= 0)
        result = WriteCovers(*m_format);
    return result >= 0 || Fail(L"can't make", result);
}

bool Muxer::AddStream(const EncodeParam* pJob, int type)
{
    const wchar_t* const kind = type == ENCODER_TYPE_VIDEO ? L"video" : L"audio";
    const Encoder* encoder = Encoder::OfJob(pJob, type);
    if (!encoder) {
        KXLogEx(L"wpav: %ls takes no %ls from another plug-in's encoder.", m_container.name, kind);
        return false;
    }
    const AVCodecContext& context = encoder->Context();
    if (!Holds(m_container, encoder->Entry())) {
        KXLogEx(L"wpav: %ls can't hold %ls.", m_container.name, encoder->Entry().name);
        return false;
    }
    AVStream* stream = avformat_new_stream(m_format.get(), nullptr);
    int result = stream ? avcodec_parameters_from_context(stream->codecpar, &context) : AVERROR(ENOMEM);
    if (result >= 0 && type == ENCODER_TYPE_VIDEO)
        result = SetSignal(*stream, pJob->video, encoder->Entry(), m_container);
    if (result < 0)
        return Fail(L"can't make", result);
    if (context.codec_id == AV_CODEC_ID_HEVC && m_container.Has(kTagsHvc1))
        stream->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
    if (context.frame_size > 0 && !m_container.Has(kMarksLeadIn)) { // WritePacket leaves out whole frames of it
        int& leadIn = stream->codecpar->initial_padding;
        leadIn %= context.frame_size;
        leadIn = 2 * leadIn > context.frame_size ? 0 : leadIn;
    }
    stream->time_base = context.time_base;
    stream->avg_frame_rate = context.framerate;
    stream->sample_aspect_ratio = context.sample_aspect_ratio;
    m_streams[type] = {stream, context.time_base};
    m_hasHeader = m_hasHeader && encoder->Entry().HasHeader();
    return SetOptions(*encoder, *stream);
}

// Sets options that are known to be good for the format, or not to be there.
void Muxer::SetAll(const char* options)
{
    for (const Option& option : OptionsOf(options))
        ::SetOption(*m_format, option);
}

int Muxer::SetOption(const Option& option)
{
    if (option.key != "fragmented" || !*m_container.fragmented)
        return ::SetOption(*m_format, option);
    if (option.value == "1")
        SetAll(m_container.fragmented);
    if (option.value == "1" && !m_hasHeader)
        SetAll("movflags=+delay_moov");
    return option.value == "0" || option.value == "1" ? 0 : AVERROR(EINVAL);
}

// Sets those of a stream's options that its encoder doesn't know.
bool Muxer::SetOptions(const Encoder& encoder, AVStream& stream)
{
    for (const Option& option : encoder.JobOptions()) {
        if (IsMetadata(option)) {
            if (SetMetadata(*m_format, stream, option) < 0)
                return false;
            continue;
        }
        if (Knows(encoder.Context(), option.key))
            continue;
        const int result = SetOption(option);
        if (result == AVERROR_OPTION_NOT_FOUND)
            KXLogEx(L"wpav: neither %ls nor %ls knows the option [%s].", encoder.Entry().name, m_container.name,
                    option.key.c_str());
        else if (result < 0)
            KXLogEx(L"wpav: %ls doesn't take the option [%s=%s]: %s.", m_container.name, option.key.c_str(),
                    option.value.c_str(), ErrorText(result).c_str());
        if (result < 0)
            return false;
    }
    return true;
}

bool Muxer::Write(int type, const EncodedPackets* packets)
{
    bool written = packets && packets->accepted;
    for (size_t i = 0; packets && i < packets->count; ++i) {
        const int result = WritePacket(type, *packets->pool[i]);
        if (result < 0)
            written = Fail(L"can't write", result);
    }
    m_complete = m_complete && written;
    return written;
}

// Whether a packet of audio holds more from before the first sample than from behind it.
bool Muxer::IsLeadIn(const AVPacket& encoded) const
{
    return !m_container.Has(kMarksLeadIn) && 2 * encoded.pts + encoded.duration <= 0;
}

int Muxer::WritePacket(int type, const AVPacket& encoded)
{
    if (m_isSinglePicture && m_pictures > 0) {
        if (!m_failure)
            KXLogEx(L"wpav: the name [%ls] has no place for a number, such as %%05d, and so holds one picture.",
                    m_path.c_str());
        return AVERROR_INVALIDDATA;
    }
    const Stream& target = m_streams[type];
    const bool isVideo = type == ENCODER_TYPE_VIDEO;
    const bool hasContent = encoded.size > 0; // or only news for the file's header
    if (!hasContent && m_container.Has(kSequenceOnly))
        return 0;
    // Vorbis's first packet has no samples of its own, but decoders need it for the next one's.
    const bool isPrimer = target.stream->codecpar->codec_id == AV_CODEC_ID_VORBIS && encoded.pts < 0;
    if (!isVideo && hasContent && !isPrimer && IsLeadIn(encoded))
        return 0;
    const int result = av_packet_ref(m_packet.get(), &encoded);
    if (result < 0)
        return result;
    if (isVideo && m_packet->duration == 0)
        m_packet->duration = 1;
    if (isPrimer && !m_container.Has(kMarksLeadIn))
        m_packet->pts = m_packet->dts = 0;
    const int64_t end = m_packet->pts + m_packet->duration;
    m_packet->stream_index = target.stream->index;
    av_packet_rescale_ts(m_packet.get(), target.timeBase, target.stream->time_base);
    const int written = av_interleaved_write_frame(m_format.get(), m_packet.get());
    if (written < 0 || !hasContent)
        return written;
    if (isVideo)
        ++m_pictures;
    else
        m_audioEnd = std::max(m_audioEnd, end);
    return written;
}

bool Muxer::Close()
{
    const int trailer = av_write_trailer(m_format.get());
    const int close = avio_closep(&m_format->pb);
    if (trailer < 0 || close < 0)
        Fail(L"can't finish", trailer < 0 ? trailer : close);
    return m_complete;
}

unsigned int Muxer::AudioMilliseconds() const
{
    const Stream& audio = m_streams[ENCODER_TYPE_AUDIO];
    if (!audio.stream)
        return 0;
    const int64_t milliseconds = av_rescale_q(m_audioEnd, audio.timeBase, {1, 1000});
    return static_cast<unsigned int>(std::min<int64_t>(milliseconds, UINT32_MAX));
}

// The first one is logged, and stays in errno if the system has said it.
bool Muxer::Fail(const wchar_t* what, int error)
{
    m_complete = false;
    if (!m_failure) {
        m_failure = error;
        KXLogEx(L"wpav: %ls [%ls]: %s.", what, m_path.c_str(), ErrorText(error).c_str());
    }
    constexpr int lastOfSystem = -4095; // libav's own errors are further from 0
    if (m_failure >= lastOfSystem)
        errno = AVUNERROR(m_failure);
    return false;
}

// ---- slots ----

void* CreateFile(const wchar_t* pszPath, EncodeParam* pParam)
{
    const ContainerEntry* container = FindContainer(pParam->dwFileFourCC);
    if (!container)
        return nullptr;
    auto muxer = std::make_unique<Muxer>(*container);
    return muxer->Open(pszPath, pParam) ? muxer.release() : nullptr;
}

int WriteVideo(void* hFile, const void* pData)
{
    return static_cast<Muxer*>(hFile)->Write(ENCODER_TYPE_VIDEO, static_cast<const EncodedPackets*>(pData));
}

int WriteAudio(void* hFile, const void* pData, KXDWORD)
{
    return static_cast<Muxer*>(hFile)->Write(ENCODER_TYPE_AUDIO, static_cast<const EncodedPackets*>(pData));
}

void SetVideoExtra(void* hFile, uintptr_t nValue1, uintptr_t, uintptr_t, uintptr_t)
{
    WriteVideo(hFile, reinterpret_cast<const void*>(nValue1));
}

void SetAudioExtra(void* hFile, void* pValue1, KXDWORD nValue2)
{
    WriteAudio(hFile, pValue1, nValue2);
}

void CloseFile(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    const std::unique_ptr<Muxer> muxer(static_cast<Muxer*>(hFile));
    const bool complete = muxer->Close();
    if (pfnCallback)
        pfnCallback(pCallbackParam, complete ? 0 : 1, muxer->Pictures(), muxer->AudioMilliseconds());
}

} // namespace

void FillFormatSlots(FILEFORMAT_ITEM& item)
{
    item.pfnCreate = CreateFile;
    item.pfnWriteAudio = WriteAudio;
    item.pfnWriteVideo = WriteVideo;
    item.pfnClose = CloseFile;
    item.pfnSetAudioExtra = SetAudioExtra;
    item.pfnSetVideoExtra = SetVideoExtra;
    item.dwFlags |= FFF_METADATA;
}
