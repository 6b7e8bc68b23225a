#include "encmgr/Log.h"
#include "plugins/raw/OutputFile.h"
#include "plugins/raw/RawFiles.h"
#include "plugins/support/FrameRate.h"
#include "plugins/support/Frames.h"
#include "plugins/support/Text.h"

#include <string>

namespace
{

const ENCODER_MODE s_videoModes[] = {{kRawVideo, 1}, {0, 0}};

struct Y4mFile {
    OutputFile file;
    int width;
    int height;
    unsigned int pictures = 0;
    bool refused = false; // a picture; the first one is logged
};

// Progressive, chroma centred between luma rows and columns; square pixels unless the job says else.
std::string StreamHeader(const EncodeParamVideo& video, const FrameRate& rate)
{
    const bool isSaid = video.nPixelAspectX > 0 && video.nPixelAspectY > 0;
    return "YUV4MPEG2 W" + std::to_string(video.nWidth) + " H" + std::to_string(video.nHeight) + " F" +
           std::to_string(rate.num) + ":" + std::to_string(rate.den) + " Ip A" +
           std::to_string(isSaid ? video.nPixelAspectX : 1) + ":" + std::to_string(isSaid ? video.nPixelAspectY : 1) +
           " C420jpeg\n";
}

void* CreateY4m(const wchar_t* pszPath, EncodeParam* pParam)
{
    const EncodeParamVideo& video = pParam->video;
    const auto rate = ExactFrameRate(video.dFrameRate, kMaxRateTerm);
    // The library lets a host name any encoder; only raw video arrives as frames.
    if (pParam->bVideoDisabled || video.dwFourCC != kRawVideo || video.nWidth <= 0 || video.nHeight <= 0 || !rate) {
        KXLog(L"wpraw: a Y4M file needs raw video with a size and a frame rate.");
        return nullptr;
    }
    auto y4m = std::make_unique<Y4mFile>();
    y4m->width = video.nWidth;
    y4m->height = video.nHeight;
    const std::string header = StreamHeader(video, *rate);
    if (!y4m->file.Open(pszPath) || !y4m->file.Write(header.data(), header.size()))
        return nullptr;
    return y4m.release();
}

int WritePicture(void* hFile, const void* pData)
{
    auto& y4m = *static_cast<Y4mFile*>(hFile);
    const auto* frame = static_cast<const MEDIA_FRAME*>(pData);
    if (!frame || !IsReadable(frame->video, y4m.width, y4m.height)) {
        if (!y4m.refused)
            KXLogEx(L"wpraw: a picture of %dx%d isn't one of %dx%d, or lacks a plane or a pitch.",
                    frame ? frame->video.nWidth : 0, frame ? frame->video.nHeight : 0, y4m.width, y4m.height);
        y4m.refused = true;
        return 0;
    }
    if (!y4m.file.Write("FRAME\n", 6))
        return 0;
    for (const Plane& plane : PlanesOf(frame->video)) {
        // Rows without a gap are written as one.
        const int rows = plane.pitch == plane.width ? plane.height : 1;
        for (int y = 0; y < plane.height; y += rows) {
            if (!y4m.file.Write(plane.Row(y), static_cast<size_t>(plane.width) * static_cast<size_t>(rows)))
                return 0;
        }
    }
    ++y4m.pictures;
    return 1;
}

void CloseY4m(void* hFile, FC_CLOSE_CALLBACK pfnCallback, void* pCallbackParam)
{
    const std::unique_ptr<Y4mFile> y4m(static_cast<Y4mFile*>(hFile));
    const bool complete = y4m->file.Close() && !y4m->refused;
    if (pfnCallback)
        pfnCallback(pCallbackParam, complete ? 0 : 1, y4m->pictures, 0);
}

} // namespace

int ReviseRawVideo(EncodeParam* pParam)
{
    EncodeParamVideo& video = pParam->video;
    const auto rate = ExactFrameRate(video.dFrameRate, kMaxRateTerm);
    if (video.nWidth <= 0 || video.nHeight <= 0 || !rate) {
        KXLogEx(L"wpraw: can't write %dx%d at %g pictures per second.", video.nWidth, video.nHeight, video.dFrameRate);
        return 0;
    }
    video.dFrameRate = rate->Value();
    return 1;
}

FILEFORMAT_ITEM Y4mFormat()
{
    FILEFORMAT_ITEM item{};
    item.dwFourCC = KX_FOURCC('Y', '4', 'M', ' ');
    SetText(item.szShortName, L"Y4M");
    SetText(item.szName, L"YUV4MPEG2");
    SetText(item.szDescription, L"Uncompressed video that most video tools read");
    item.pVideoModes = s_videoModes;
    item.pfnCreate = CreateY4m;
    item.pfnWriteVideo = WritePicture;
    item.pfnClose = CloseY4m;
    return item;
}
