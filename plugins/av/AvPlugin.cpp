// wpav: encoders of libavcodec, file formats of libavformat.

#include "encmgr/Export.h"
#include "plugins/av/Tables.h"

extern "C" {

ENCMGR_API const ENCODER_ITEM* GetEncoders()
{
    return EncoderItems();
}

ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats()
{
    return FormatItems();
}

} // extern "C"
