// What can be said of an input without decoding it: its container and every stream.
#ifndef ENCMGR_HOST_INPUT_FACTS_H
#define ENCMGR_HOST_INPUT_FACTS_H

#include "host/sources/Source.h"
#include "host/sources/StreamInfo.h"
#include "host/sources/VideoRate.h"

#include <optional>
#include <string>
#include <vector>

namespace host
{

class Messages;

struct VideoFacts {
    VideoFormat stored; // pictures as they are stored; the rate is the one that encode works with
    Turn turn;          // to be shown
    RateKind rateKind = RateKind::kStated;
    AVRational statedRate = {0, 1}; // 0: the container says none
    std::string pixels;             // libav's name; empty if it isn't known
    int bits = 0;                   // of a pixel's largest component; 0: not known
    bool isFullRange = false;
    bool isMatrixStated = false;             // else it is the usual one of the size
    std::string matrix, primaries, transfer; // libav's names; the last two empty if they aren't said

    // As the pictures are to be seen: turned, with the pixels' shape in that position.
    VideoFormat Shown() const;
};

struct AudioFacts {
    int sampleRate = 0; // Hz
    int channels = 0;
    std::string layout;  // "stereo", "5.1(side)"
    std::string samples; // libav's name; empty if it isn't known
};

struct StreamFacts {
    int index = 0;
    std::string kind; // "video", "audio", "cover", "subtitles", "data", "attachment"; "unknown" else
    std::string codec;
    std::string profile; // empty if there is none
    int64_t bitRate = 0; // 0: not said
    bool isUsed = false; // encode takes it if it isn't told otherwise
    bool isDecodable = false;
    bool isDefault = false;
    bool isForced = false;
    std::string language; // ISO 639-2, "eng"; empty if none is said
    std::string title;
    std::optional<VideoFacts> video; // of covers, too
    std::optional<AudioFacts> audio;
};

struct ChapterFacts {
    Nanoseconds start;
    Nanoseconds end;
    std::string title;
};

struct InputFacts {
    std::string name;   // for people
    std::string format; // libav's short names, "mov,mp4,m4a,3gp,3g2,mj2"
    std::string formatName;
    Nanoseconds duration = 0; // 0: not known
    bool isDurationStated = true;
    Nanoseconds start = 0;
    int64_t size = 0;    // bytes; 0: not known
    int64_t bitRate = 0; // of all; 0: not known
    Tags tags;
    std::vector<StreamFacts> streams;
    std::vector<ChapterFacts> chapters;
};

// name as for OpenSource. Looks at the time stamps of every video stream, as encode does: of a file at all of them, of
// what can't be read twice at the first ones. Throws HostError.
InputFacts FactsOf(const std::string& name, Messages& messages);

} // namespace host

#endif // ENCMGR_HOST_INPUT_FACTS_H
