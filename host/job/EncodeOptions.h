// What is asked for of a job, as plain data.
#ifndef ENCMGR_HOST_ENCODE_OPTIONS_H
#define ENCMGR_HOST_ENCODE_OPTIONS_H

#include "host/base/Scaling.h"
#include "host/base/Values.h"
#include "media_file/ResizeRect.h"

#include <optional>
#include <string>
#include <vector>

namespace host
{

enum class ProgressKind {
    kAuto,  // a bar on a terminal, nothing elsewhere
    kBar,   // a line that is overwritten in place
    kLines, // a line every few seconds
    kJson,  // the same for programs, and more often
    kNone,
};

struct EncodeOptions {
    std::string input;
    std::string audioInput; // empty: the input's own audio
    std::string output;     // "-": the standard output
    std::string format; // format and encoders by FourCC or name; empty: by the output's ending, and the first listed
    std::string videoEncoder;
    std::string audioEncoder;
    bool noVideo = false;
    bool noAudio = false;
    std::optional<PictureSize> size; // one side may be free
    std::optional<AVRational> frameRate;
    std::optional<IMAGE_RESIZE_METHOD> fit;
    Scaling scaling = Scaling::kUsual;
    std::optional<bool> deinterlace; // without it: where rows are scaled
    int videoBitRate = 0;            // 0 leaves it to the encoder
    int audioBitRate = 0;
    int sampleRate = 0;               // 0: the source's
    int channels = 0;                 // 0: the source's
    bool isLibraryResampling = false; // rather than the source
    std::optional<int64_t> pictures;
    std::optional<int64_t> expectedPictures; // fewer are a failure
    std::optional<double> quality;           // constant, on the encoder's scale
    std::string preset;                      // empty: the encoder's own
    std::string tune;
    std::optional<int> keyDistance; // pictures from one that stands by itself to the next, at most
    int passes = 1;                 // over the source
    bool isFragmented = false;
    std::vector<std::string> videoOptions; // "key=value", of the encoder or the format
    std::vector<std::string> audioOptions;
    int64_t start = 0;               // nanoseconds from the start of the input
    std::optional<int64_t> end;      // likewise
    std::optional<int64_t> duration; // instead of end
    std::string videoStream;         // by number or language; empty: the best
    std::string audioStream;
    bool noMetadata = false;
    double longestGap = 10.0;   // seconds in which the source may show no new picture
    bool isStrict = false;      // no picture may be repeated or left out
    bool mayLackStream = false; // whose encoder can't be set up
    bool overwrite = false;
    bool neverOverwrite = false;
    bool isDryRun = false;
    bool checksPlugins = false; // each in a process of its own, before they are loaded
    bool skipsDone = false;     // if the report says that the output is what would be made
    std::string report;         // empty: none; "-": the standard output
    ProgressKind progress = ProgressKind::kAuto;
};

} // namespace host

#endif // ENCMGR_HOST_ENCODE_OPTIONS_H
