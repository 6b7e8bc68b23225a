// wpav: encoders of libavcodec, file formats of libavformat.

#include "encmgr/Export.h"
#include "plugins/av/OptionTable.h"
#include "plugins/av/Records.h"

extern "C" {

ENCMGR_API const ENCODER_ITEM* GetEncoders()
{
    return EncoderItems();
}

ENCMGR_API const FILEFORMAT_ITEM* GetFileFormats()
{
    return FormatItems();
}

ENCMGR_API const ENCODER_OPTION* GetEncoderOptions(KXDWORD dwFourCC)
{
    return OptionItems(dwFourCC);
}

} // extern "C"
