// Where pictures and sound come from: a media file, a pipe, or the test card.
#ifndef ENCMGR_HOST_SOURCE_H
#define ENCMGR_HOST_SOURCE_H

#include "host/sources/PictureColour.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/rational.h>
}

namespace host
{

class Messages;

// Times inside the host count nanoseconds, so that no rounding of a container's time base is added to another.
using Nanoseconds = int64_t;
constexpr Nanoseconds kSecond = 1'000'000'000;

// Stamps beyond are no times, and sums of them would leave 64 bits.
constexpr Nanoseconds kFarthestStamp = 4'000'000'000 * kSecond;

inline double InSeconds(Nanoseconds time)
{
    return static_cast<double>(time) / static_cast<double>(kSecond);
}

// Whether pictures consist of two fields, of the even rows and the odd ones, that were taken one after the other.
enum class Fields {
    kUnknown,
    kNone,
    kTopFirst,
    kBottomFirst,
    kMixed, // two, but not in rows of their own
};

struct VideoFormat {
    int width;                 // pixels of every picture
    int height;                //
    AVRational frameRate;      // the rate stated or measured; never 0
    AVRational pixelAspect;    // width of a pixel to its height; never 0
    PictureColour colour = {}; // of limited range
    Fields fields = Fields::kUnknown;
};

struct AudioFormat {
    int sampleRate; // Hz
    int channels;   // 1 or 2

    // With another's values for those that are 0.
    AudioFormat Or(const AudioFormat& other) const
    {
        return {sampleRate ? sampleRate : other.sampleRate, channels ? channels : other.channels};
    }
};

// A picture or a block of audio.
struct Item {
    enum class Kind {
        kEnd, // nothing more comes
        kPicture,
        kAudio,
    };
    Kind kind = Kind::kEnd;
    Nanoseconds time = 0;
    // Picture: until the next one as far as the source can tell; 0 if it can't.
    Nanoseconds duration = 0;
    // Picture: planar 4:2:0 of 8 bits, limited range, of the announced size; its pitches are positive.
    std::shared_ptr<const AVFrame> frame;
    // Audio: 16-bit interleaved samples in the announced format, whole sample blocks, never empty.
    std::vector<int16_t> samples;
};

// When a stream's first picture and its first samples come.
struct FirstTimes {
    std::optional<Nanoseconds> picture;
    std::optional<Nanoseconds> block;
};

struct Streams {
    bool video;
    bool audio;
};

// What a source is to deliver as far as it has it.
struct Wanted {
    bool video;
    bool audio;
    AudioFormat audioFormat = {}; // 0 in a field: the source's own
    // Which of several streams: by number among its kind or by language, empty for the best one.
    std::string videoStream = {};
    std::string audioStream = {};
    // Nothing before is asked for but the picture that stands then. What comes earlier is left out as far as that saves
    // time.
    Nanoseconds start = 0;
};

// Keys in libav's names, "title" and "language" say, with UTF-8 text.
using Tags = std::vector<std::pair<std::string, std::string>>;

struct Chapter {
    Nanoseconds start; // from the start of the source
    Nanoseconds end;
    Tags tags;
};

struct Cover {
    std::string codec; // "png" say, as libav names it
    std::vector<uint8_t> bytes;
};

// What a source says of its content.
struct Metadata {
    Tags file;
    Tags video;
    Tags audio;
    std::vector<Chapter> chapters;
    std::optional<Cover> cover;
};

class Source
{
public:
    virtual ~Source() = default;

    // What the source delivers of what was asked for.
    const std::optional<VideoFormat>& Video() const { return m_video; }
    const std::optional<AudioFormat>& Audio() const { return m_audio; }

    // What there is, asked for or not.
    Streams Present() const { return m_present; }

    // Times of the first picture and samples of the whole, as far as they are known beforehand.
    const FirstTimes& First() const { return m_first; }

    // Names of streams that aren't delivered, for people; without those of a kind that isn't wanted.
    const std::vector<std::string>& LeftOut() const { return m_leftOut; }

    const Metadata& About() const { return m_metadata; }

    // What was done to the pictures to make them what Video says, for people: "turned right by 90 degrees"
    // say.
    const std::vector<std::string>& Changes() const { return m_changes; }

    // Length as far as it is known beforehand, otherwise 0; and whether that is more than a guess.
    Nanoseconds Duration() const { return m_duration; }
    bool IsDurationStated() const { return m_isDurationStated; }

    // Has every picture made of all its rows at one time: those that are marked as interlaced, or all. Before the first
    // Next; no matter for a source that makes whole pictures or none.
    virtual void Deinterlace([[maybe_unused]] bool isEveryPicture) {}

    // The next picture or block in the source's own order; within a stream times rise, but for overlaps of up to
    // half a second where the stamps of a file fall back.
    virtual Item Next() = 0;

    // Nothing more is asked for. While another thread waits in Next, this one may say so, and Next comes back as soon
    // as its wait is interrupted.
    virtual void Stop() {}

    // Why reading broke off before the end; empty if it didn't.
    const std::string& BrokenOff() const { return m_brokenOff; }

    // Pieces of the input that couldn't be decoded and were left out.
    int64_t Damaged() const { return m_damaged; }

protected:
    std::optional<VideoFormat> m_video;
    std::optional<AudioFormat> m_audio;
    Streams m_present = {};
    FirstTimes m_first;
    std::vector<std::string> m_leftOut;
    Metadata m_metadata;
    std::vector<std::string> m_changes;
    Nanoseconds m_duration = 0;
    bool m_isDurationStated = true;
    std::string m_brokenOff;
    int64_t m_damaged = 0;
};

// name is a path, "-" for the standard input, an address with "://", or "testcard:" and its parameters. Throws
// HostError.
std::unique_ptr<Source> OpenSource(const std::string& name, const Wanted& wanted, Messages& messages);

// A source's name as messages show it.
std::string ShownName(const std::string& name);

} // namespace host

#endif // ENCMGR_HOST_SOURCE_H
