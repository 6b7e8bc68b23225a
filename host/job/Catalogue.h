// What the plug-ins offer, and the choice from it by name.
#ifndef ENCMGR_HOST_CATALOGUE_H
#define ENCMGR_HOST_CATALOGUE_H

#include "encmgr/PluginRecords.h"
#include "host/job/EncodeOptions.h"

#include <span>
#include <string>
#include <vector>

namespace host
{

struct Choice {
    const FILEFORMAT_INFO* format;
    const ENCODER_INFO* video; // null: no video
    const ENCODER_INFO* audio; // null: no audio
};

using Encoders = std::span<const ENCODER_INFO* const>;

Encoders VideoEncodersOf(const FILEFORMAT_INFO& format);
Encoders AudioEncodersOf(const FILEFORMAT_INFO& format);

// A view of the library's table: it and what it gives hold until FCUninitPlugins.
class Catalogue
{
public:
    // formats ends with FourCC 0; null if there are none.
    explicit Catalogue(const FILEFORMAT_INFO* formats);

    std::span<const FILEFORMAT_INFO* const> Formats() const { return m_formats; }

    // The format and the encoders that the options name or leave to a default. A stream that the format has no encoder
    // for is left out unless an option demands it. Throws HostError.
    Choice Choose(const EncodeOptions& options) const;

    // Every encoder of any format, once each.
    std::vector<const ENCODER_INFO*> AllEncoders() const;

    // The encoder named. Throws HostError.
    const ENCODER_INFO& FindEncoder(const std::string& name) const;

private:
    const FILEFORMAT_INFO& FormatNamed(const std::string& name) const;
    const FILEFORMAT_INFO* FormatOfFourCC(const std::string& text) const;

    std::vector<const FILEFORMAT_INFO*> m_formats;
};

} // namespace host

#endif // ENCMGR_HOST_CATALOGUE_H
