// The opening of decoders.
#ifndef ENCMGR_HOST_DECODER_H
#define ENCMGR_HOST_DECODER_H

#include "host/sources/Libav.h"

#include <string>

namespace host
{

// An open decoder of the stream, never null. name is the file's, for people; option leaves the stream out. Throws
// HostError.
LibavOwned<AVCodecContext> OpenDecoder(const AVStream& stream, const std::string& name, const char* option);

} // namespace host

#endif // ENCMGR_HOST_DECODER_H
