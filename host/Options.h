// The command line.
#ifndef ENCMGR_HOST_OPTIONS_H
#define ENCMGR_HOST_OPTIONS_H

#include "host/ConvertCommand.h"
#include "host/Messages.h"
#include "host/Values.h"

#include <optional>
#include <string>

namespace host
{

enum class Command { kList, kEncode, kConvert };

// How a picture is fitted into the output, with the values of EncodeParamVideo::nResizeMethod.
enum Fit { kFitStretch = 0, kFitKeep = 1, kFit16To9 = 2, kFit4To3 = 3, kFitCrop = 5 };

struct EncodeOptions {
    std::string input;
    std::string audioInput; // empty: the input's own audio
    std::string output;     // "-": the standard output
    std::string format; // format and encoders by FourCC or name; empty: by the output's ending, and the first listed
    std::string videoEncoder;
    std::string audioEncoder;
    bool noVideo = false;
    bool noAudio = false;
    std::optional<PictureSize> size;
    std::optional<AVRational> frameRate;
    std::optional<Fit> fit;
    int interpolation = 0; // a value of EncodeParamVideo::nInterpolation
    int videoBitRate = 0;  // 0 leaves it to the encoder
    int audioBitRate = 0;
    int sampleRate = 0; // 0: the source's
    int channels = 0;   // 0: the source's
    std::optional<int64_t> pictures;
    bool overwrite = false;
};

struct Options {
    Command command = Command::kList;
    Volume volume = Volume::kNormal;
    std::string pluginsFolder; // the folder that holds PlugIns; empty: the program's own
    EncodeOptions encode;
    ConvertOptions convert;
};

// Gives an exit code where the program is to end here, help or an error having been printed. Throws HostError for a
// value that makes no sense.
std::optional<int> ParseOptions(int argc, char** argv, Options& options);

} // namespace host

#endif // ENCMGR_HOST_OPTIONS_H
