// The values that options and test card parameters are written in. Each function takes the whole text or nothing.
#ifndef ENCMGR_HOST_VALUES_H
#define ENCMGR_HOST_VALUES_H

#include <cstdint>
#include <optional>
#include <string_view>

extern "C" {
#include <libavutil/rational.h>
}

namespace host
{

struct PictureSize {
    int width;
    int height;
};

// The longest side, in pixels, of a picture that the host makes or works on.
constexpr int kLargestSide = 16384;

std::optional<int64_t> ParseInteger(std::string_view text, int64_t least, int64_t most);

// Not a number and infinity are no numbers.
std::optional<double> ParseNumber(std::string_view text);

// "640x360".
std::optional<PictureSize> ParseSize(std::string_view text, int least, int most);

// A size whose one side may be free, to follow from the other and the picture's shape. A free side is a kFree value.
constexpr int kFree = 0;     // whatever suits: "1280x", "x720"
constexpr int kFreeAny = -1; // to the pixel: "1280x-1"
constexpr int kFreeEven = -2;
std::optional<PictureSize> ParseSizeOrSide(std::string_view text, int least, int most);

// A time in nanoseconds, not negative: seconds ("12.5"), "MM:SS" or "HH:MM:SS", the seconds with up to nine decimals.
std::optional<int64_t> ParseTime(std::string_view text);

// Frame rates that can be asked for. The library replaces higher ones by another.
constexpr double kLowestRate = 0.01;
constexpr double kHighestRate = 200.0;

// "25", "30000/1001", "12.5"; 23.976, 29.97, 59.94 and their like stand for N x 1000/1001.
std::optional<AVRational> ParseRate(std::string_view text);

// "800000", "800k", "1.5M": bits per second, k and M being 1000 and 1000000. At least 1000, and within an int.
std::optional<int> ParseBitRate(std::string_view text);

// "16:9": both parts from 1 to 1000.
std::optional<AVRational> ParseAspect(std::string_view text);

} // namespace host

#endif // ENCMGR_HOST_VALUES_H
