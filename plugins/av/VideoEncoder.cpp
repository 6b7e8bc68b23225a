#include "encmgr/Log.h"
#include "plugins/av/CommonKeys.h"
#include "plugins/av/Encoder.h"
#include "plugins/av/PictureConverter.h"
#include "plugins/av/Slots.h"
#include "plugins/av/Surfaces.h"
#include "plugins/av/VideoSignal.h"
#include "plugins/support/FrameRate.h"
#include "plugins/support/Frames.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace
{

class VideoEncoder final : public Encoder
{
public:
    VideoEncoder(const EncoderEntry& entry, const EncodeParam* pJob) : Encoder(entry, pJob) {}

    bool Open();
    EncodedPackets& Take(const MEDIA_FRAME_VIDEO& picture);
    EncodedPackets& Finish();

private:
    bool HasBitRate() const { return Job().video.nBitRate > 0 && Entry().TakesBitRate(); }
    bool HasKey(const char* key) const;
    bool HasOwnQuality() const;
    std::vector<Option> UsualOptions() const;
    void Prepare(AVCodecContext& context) const override;
    bool Fill(const MEDIA_FRAME_VIDEO& picture);
    bool Send();

    FramePtr m_frame;
    FramePtr m_surface; // null: the encoder takes m_frame itself
    PictureConverter m_converter;
    int64_t m_framesIn = 0; // the count is the clock, so a frame that is refused leaves a gap of its length
    bool m_refusalLogged = false;
};

// Whether the job's options have the key.
bool VideoEncoder::HasKey(const char* key) const
{
    const auto options = ParseOptions(OptionText(Job(), ENCODER_TYPE_VIDEO).c_str());
    return options &&
           std::any_of(options->begin(), options->end(), [key](const Option& option) { return option.key == key; });
}

// Whether the job's options decide on the size of the packets by another measure than the usual one.
bool VideoEncoder::HasOwnQuality() const
{
    return HasKey("b") || HasKey("qp") || HasKey("crf");
}

std::vector<Option> VideoEncoder::UsualOptions() const
{
    const EncoderEntry& entry = Entry();
    const bool isTiny = std::min(Job().video.nWidth, Job().video.nHeight) < entry.video.tinySide;
    const bool hasPasses = *entry.keys.passOptions && HasKey("pass");
    auto options = OptionsOf(isTiny ? "" : hasPasses ? entry.keys.passOptions : entry.options);
    if (entry.quality.options && !HasBitRate() && !HasOwnQuality()) {
        const auto quality = QualityOptions(entry.quality, std::to_string(entry.quality.usual));
        options.insert(options.end(), quality.begin(), quality.end());
    }
    return options;
}

bool VideoEncoder::Open()
{
    if (!Encoder::Open(UsualOptions()))
        return false;

    m_frame.reset(av_frame_alloc());
    if (!m_frame)
        return false;
    m_frame->format = PictureFormat(Context());
    m_frame->width = Context().width;
    m_frame->height = Context().height;
    m_frame->quality = Context().global_quality; // encoders with a fixed quantiser take it from the picture
    SetSignal(*m_frame, Job().video, Context());
    int result = av_frame_get_buffer(m_frame.get(), 0);
    if (result >= 0)
        result = m_converter.Open(Job().video, *m_frame);
    if (result >= 0 && Context().hw_frames_ctx) {
        m_surface.reset(av_frame_alloc());
        result = m_surface ? 0 : AVERROR(ENOMEM);
    }
    if (result < 0)
        Log(L"has no picture buffer", result);
    return result >= 0;
}

void VideoEncoder::Prepare(AVCodecContext& context) const
{
    const EncodeParamVideo& video = Job().video;
    const FrameRate rate = ExactFrameRate(video.dFrameRate, Entry().video.maxRateTerm).value_or(FrameRate{1, 1});
    context.pix_fmt = Entry().video.pixelFormat;
    context.width = video.nWidth;
    context.height = video.nHeight;
    context.framerate = {rate.num, rate.den};
    context.time_base = {rate.den, rate.num};
    const ContainerEntry* container = FindContainer(Job().dwFileFourCC);
    SetSignal(context, video, Entry(), EncodedColour(video, Entry(), container));
    if (HasBitRate())
        context.bit_rate = video.nBitRate;
    else if (Entry().quality.needsBitRate)
        context.bit_rate = std::llrint(rate.Value() * video.nWidth * video.nHeight / 8);
    if (container && container->Has(kSequenceOnly))
        context.max_b_frames = 0;
}

bool VideoEncoder::Fill(const MEDIA_FRAME_VIDEO& picture)
{
    if (!IsReadable(picture, m_frame->width, m_frame->height)) {
        if (!m_refusalLogged)
            KXLogEx(L"wpav: a picture of %dx%d isn't one of %dx%d, or lacks a plane or a pitch.", picture.nWidth,
                    picture.nHeight, m_frame->width, m_frame->height);
        m_refusalLogged = true;
        return false;
    }
    int result = av_frame_make_writable(m_frame.get()); // the encoder may still hold the last picture
    if (result < 0) {
        Log(L"has no picture buffer", result);
        return false;
    }
    const AVFrame& target = m_converter.IsNeeded() ? m_converter.Input() : *m_frame;
    const auto planes = PlanesOf(picture);
    for (size_t i = 0; i < planes.size(); ++i) {
        for (int y = 0; y < planes[i].height; ++y)
            memcpy(target.data[i] + static_cast<ptrdiff_t>(y) * target.linesize[i], planes[i].Row(y),
                   static_cast<size_t>(planes[i].width));
    }
    if (m_converter.IsNeeded())
        result = m_converter.Convert(*m_frame);
    if (result < 0)
        Log(L"can't convert pictures", result);
    return result >= 0;
}

bool VideoEncoder::Send()
{
    if (!m_surface)
        return Encode(m_frame.get());
    const int result = Upload(Context(), *m_frame, *m_surface);
    if (result < 0)
        Log(L"can't put pictures into the device", result);
    return result >= 0 && Encode(m_surface.get());
}

EncodedPackets& VideoEncoder::Take(const MEDIA_FRAME_VIDEO& picture)
{
    return Collect([&] {
        const bool isFilled = Fill(picture);
        m_frame->pts = m_framesIn++;
        return isFilled && Send();
    });
}

EncodedPackets& VideoEncoder::Finish()
{
    return Collect([this] { return Encode(nullptr) && SaveStatistics(); });
}

// ---- slots ----

int SettleSide(int side, const EncoderEntry& entry)
{
    return entry.video.evenSize ? std::max(side - side % 2, entry.video.minSide) : side;
}

int ReviseVideo(EncodeParam* pParam)
{
    EncodeParamVideo& video = pParam->video;
    const EncoderEntry* entry = FindEncoder(video.dwFourCC, ENCODER_TYPE_VIDEO);
    if (!entry)
        return 0;
    const auto rate = ExactFrameRate(video.dFrameRate, entry->video.maxRateTerm);
    if (video.nWidth <= 0 || video.nHeight <= 0 || video.nWidth > entry->video.maxSide ||
        video.nHeight > entry->video.maxSide || video.nBitRate < 0 || !rate) {
        KXLogEx(L"wpav: %ls can't encode %dx%d at %g pictures and %d bits per second.", entry->name, video.nWidth,
                video.nHeight, video.dFrameRate, video.nBitRate);
        return 0;
    }
    video.nWidth = SettleSide(video.nWidth, *entry);
    video.nHeight = SettleSide(video.nHeight, *entry);
    video.dFrameRate = rate->Value();
    if (video.nBitRate > 0)
        video.nBitRate = std::max(video.nBitRate, kLowestBitRate);
    // With options of its own, a job that can't be encoded is refused as a whole and not left without video.
    return IsKnownSignal(video) && (!KXGetOptions(video.dwOptions) || VideoEncoder(*entry, pParam).Open());
}

void* CreateVideoEncoder(KXDWORD dwFourCC, EncodeParam* pParam)
{
    const EncoderEntry* entry = FindEncoder(dwFourCC, ENCODER_TYPE_VIDEO);
    if (!entry)
        return nullptr;
    auto encoder = std::make_unique<VideoEncoder>(*entry, pParam);
    return encoder->Open() ? encoder.release() : nullptr;
}

int EncodePicture(void* hEncoder, const MEDIA_FRAME* pFrame, void** ppOut, KXDWORD*)
{
    EncodedPackets& packets = static_cast<VideoEncoder*>(hEncoder)->Take(pFrame->video);
    *ppOut = &packets;
    return packets.accepted;
}

// The packets that the encoder still held back; the format's slot takes them like those of a picture.
void GetVideoExtra(void* hEncoder, uintptr_t* pValue1, uintptr_t*, uintptr_t*, uintptr_t*)
{
    *pValue1 = reinterpret_cast<uintptr_t>(&static_cast<VideoEncoder*>(hEncoder)->Finish());
}

void DestroyVideoEncoder(void* hEncoder)
{
    delete static_cast<VideoEncoder*>(hEncoder);
}

} // namespace

void FillVideoSlots(ENCODER_ITEM& item)
{
    item.pfnCreate = CreateVideoEncoder;
    item.pfnEncode = EncodePicture;
    item.pfnDestroy = DestroyVideoEncoder;
    item.pfnGetVideoExtra = GetVideoExtra;
    item.pfnReviseVideo = ReviseVideo;
}
