// wpraw: files without compression, and without anything to install.

#include "encmgr/Export.h"
#include "plugins/raw/RawFiles.h"
#include "plugins/support/Text.h"

namespace
{

ENCODER_ITEM InlineEncoder(KXDWORD fourCC, int type, std::wstring_view name, std::wstring_view description)
{
    ENCODER_ITEM item{};
    item.dwFourCC = fourCC;
    item.nType = type;
    SetText(item.szName, name);
    SetText(item.szDescription, description);
    return item;
}

} // namespace

extern "C" {

ENCMGR_API const ENCODER_ITEM* GetEncoders()
{
    static ENCODER_ITEM encoders[3];
    encoders[0] = InlineEncoder(kRawVideo, ENCODER_TYPE_VIDEO, L"Raw video", L"Uncompressed planar 4:2:0, 8 bits");
    encoders[0].pfnReviseVideo = ReviseRawVideo;
    encoders[1] = InlineEncoder(kRawAudio, ENCODER_TYPE_AUDIO, L"Raw PCM", L"Uncompressed audio, 16 bits");
    encoders[1].pfnReviseAudio = ReviseRawAudio;
    return encoders;
}

ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats()
{
    static FILEFORMAT_ITEM formats[3];
    formats[0] = Y4mFormat();
    formats[1] = WavFormat();
    return formats;
}

} // extern "C"
