// What the project's own plug-ins share, the WAV header, and the search for devices, by tables.
#include "plugins/av/Devices.h"
#include "plugins/raw/WavHeader.h"
#include "plugins/support/FrameRate.h"
#include "plugins/support/Frames.h"
#include "plugins/support/OptionText.h"
#include "plugins/support/Text.h"
#include "tests/Bytes.h"
#include "tests/Pictures.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

TEST(FrameRate, IsTheRatioThatItStandsFor)
{
    const struct {
        double rate;
        int maxTerm, num, den;
    } cases[] = {
        {25, kMaxRateTerm, 25, 1},
        {29.97, kMaxRateTerm, 30000, 1001},
        {30000.0 / 1001, kMaxRateTerm, 30000, 1001},
        {23.976, kMaxRateTerm, 24000, 1001},
        {59.94, 65535, 60000, 1001},
        {119.88, kMaxRateTerm, 120000, 1001},
        {119.88, 65535, 2997, 25}, // the family's terms are too large
        {239.76, kMaxRateTerm, 240000, 1001},
        {64.935, 65000, 65000, 1001},
        {64.935, 64999, 12987, 200},
        {25.00004, kMaxRateTerm, 25, 1}, // as near as hosts write
        {25.00008, kMaxRateTerm, 312501, 12500},
        {29.9699, kMaxRateTerm, 299699, 10000},
        {0.999999, kMaxRateTerm, 1, 1},
        {12.5, kMaxRateTerm, 25, 2},
        {200, kMaxRateTerm, 200, 1},
        {3.14159265358979, 1000, 355, 113},
        {2.5, 1000, 5, 2},
        {0.3, kMaxRateTerm, 3, 10},
        {0.01, kMaxRateTerm, 1, 100},
        {0.012345, 1000, 1, 81},
        {0.997, 1000, 997, 1000}, // terms up to the limit, and one beyond
        {0.997, 999, 332, 333},
        {1.003, 1003, 1003, 1000},
        {1.003, 1002, 669, 667},
        {1000, 1000, 1000, 1},
    };
    for (const auto& [rate, maxTerm, num, den] : cases) {
        SCOPED_TRACE(testing::Message() << rate << " up to " << maxTerm);
        const auto exact = ExactFrameRate(rate, maxTerm);
        ASSERT_TRUE(exact);
        EXPECT_EQ(exact->num, num);
        EXPECT_EQ(exact->den, den);
        EXPECT_EQ(exact->Value(), static_cast<double>(num) / den);
    }
    const double infinite = std::numeric_limits<double>::infinity();
    for (const double rate : {0.0, 0.0099999, 1000.001, -25.0, infinite, -infinite, std::nan("")})
        EXPECT_FALSE(ExactFrameRate(rate, kMaxRateTerm)) << rate;
}

TEST(Frames, PicturesAreReadOnlyIfTheyHoldWhatTheySay)
{
    const Planes planes = TestPicture(5, 3, 0);
    const struct {
        const char* what;
        std::function<void(MEDIA_FRAME_VIDEO&)> change;
        bool readable;
    } cases[] = {
        {"nothing", [](auto&) {}, true},
        {"width", [](auto& v) { ++v.nWidth; }, false},
        {"height", [](auto& v) { --v.nHeight; }, false},
        {"no Y", [](auto& v) { v.pY = nullptr; }, false},
        {"no U", [](auto& v) { v.pU = nullptr; }, false},
        {"no V", [](auto& v) { v.pV = nullptr; }, false},
        {"overlapping Y", [](auto& v) { v.nPitchY = 4; }, false},
        {"overlapping U", [](auto& v) { v.nPitchU = 2; }, false},
        {"overlapping V", [](auto& v) { v.nPitchV = -2; }, false},
        {"upwards", [](auto& v) { v.nPitchY = -5, v.nPitchU = v.nPitchV = -3; }, true},
        {"wide pitches", [](auto& v) { v.nPitchY = v.nPitchU = v.nPitchV = 1 << 20; }, true},
        {"a pitch of 2 GiB", [](auto& v) { v.nPitchY = INT_MIN; }, sizeof(void*) > 4},
    };
    for (const auto& [what, change, readable] : cases) {
        MEDIA_FRAME frame = FrameOf(planes, 5, 3);
        change(frame.video);
        EXPECT_EQ(IsReadable(frame.video, 5, 3), readable) << what;
    }
    MEDIA_FRAME line = FrameOf(planes, 15, 1); // the pitch of one row is no matter
    line.video.nPitchY = line.video.nPitchU = line.video.nPitchV = 0;
    EXPECT_TRUE(IsReadable(line.video, 15, 1));
    line.video.pV = nullptr;
    EXPECT_FALSE(IsReadable(line.video, 15, 1));

    MEDIA_FRAME frame = FrameOf(planes, 5, 3);
    frame.video.nPitchV = -3;
    const auto [y, u, v] = PlanesOf(frame.video);
    EXPECT_EQ(y.Row(2), planes.data() + 10);
    EXPECT_EQ(u.Row(1), planes.data() + 15 + 3);
    EXPECT_EQ(v.Row(1), planes.data() + 15 + 6 - 3);
    EXPECT_EQ(std::vector({y.width, y.height, u.width, u.height, v.width, v.height}), std::vector({5, 3, 3, 2, 3, 2}));
}

TEST(Frames, BlocksAreReadOnlyInTheSettledFormat)
{
    char data[3] = {};
    const struct {
        MEDIA_FRAME_AUDIO block;
        bool readable;
    } cases[] = {
        {{48000, 2, 16, data, 3, 0}, true},     {{0, 0, 0, data, 1, 0}, true},      {{44100, 2, 16, data, 3, 0}, false},
        {{48000, 1, 16, data, 3, 0}, false},    {{48000, 2, 8, data, 3, 0}, false}, {{48000, 2, 16, data, 0, 0}, false},
        {{48000, 2, 16, nullptr, 3, 0}, false}, {{0, 0, 0, data, -1, 0}, false},
    };
    for (const auto& [block, readable] : cases)
        EXPECT_EQ(IsReadable(block, 48000, 2), readable) << &block - &cases[0].block;
}

TEST(Text, PathsAreUtf8AndFieldsAreCut)
{
    EXPECT_EQ(Utf8Path(L"/a/\u00e9\u20ac\U0001f600"), "/a/\u00e9\u20ac\U0001f600");
    const wchar_t surrogate[] = {L'a', static_cast<wchar_t>(0xD800), 0};
    const wchar_t beyond[] = {L'a', static_cast<wchar_t>(0x110000), 0};
    for (const wchar_t* none : {static_cast<const wchar_t*>(nullptr), L"", surrogate, beyond})
        EXPECT_EQ(Utf8Path(none), std::nullopt);
    for (const auto& [text, expected] : {std::pair{L"abcdefg", L"abcd"}, {L"ab", L"ab"}}) {
        wchar_t field[5] = L"xxxx";
        SetText(field, text);
        EXPECT_STREQ(field, expected);
    }
}

TEST(OptionText, TakesKeysAndValuesApart)
{
    const auto read = [](const char* text) {
        std::string list;
        for (const Option& option : ParseOptions(text).value_or(std::vector<Option>{{"refused", ""}}))
            list += "[" + option.key + "][" + option.value + "]";
        return list;
    };
    EXPECT_EQ(read(nullptr) + read(""), "");
    EXPECT_EQ(read("a=1:b=:a\\==c=d\\:e'\\\\:f=\\"), "[a][1][b][][a=][c=d:e'\\][f][\\]");
    for (const char* text : {"a", "=1", ":", "a=1:", ":a=1", "a=1::b=2", "a=1:b"})
        EXPECT_EQ(read(text), "[refused][]") << text;
}

// A link to the device that swallows all stands for a driver's; one of Video4Linux must also answer.
TEST(Devices, AreTheDeviceFilesThatTheirDriversMake)
{
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / ("encmgr-devices-" + std::to_string(getpid()));
    const struct {
        const char* file;
        Device device;
        bool isDriver;
    } cases[] = {
        {"nvidiactl", Device::kNvenc, true},   {"nvidia0", Device::kNvenc, true},
        {"nvidia", Device::kNvenc, false},     {"dri/renderD129", Device::kVaapi, true},
        {"dri/card0", Device::kVaapi, false},  {"dri/renderD128", Device::kQuickSync, true},
        {"renderD128", Device::kVaapi, false}, {"video0", Device::kV4l2, false},
        {"nvidia0", Device::kV4l2, false},
    };
    for (const auto& [file, device, isDriver] : cases) {
        SCOPED_TRACE(file);
        const fs::path path = folder / file;
        EXPECT_FALSE(HasDevice(device, folder.string())); // there is no folder yet
        fs::create_directories(path.parent_path());
        EXPECT_FALSE(HasDevice(device, folder.string()));
        std::ofstream(path) << "a file";
        EXPECT_FALSE(HasDevice(device, folder.string()));
        fs::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        EXPECT_FALSE(HasDevice(device, folder.string()));
        fs::remove(path);
        fs::create_symlink("/dev/null", path);
        EXPECT_EQ(HasDevice(device, folder.string()), isDriver);
        EXPECT_TRUE(HasDevice(Device::kNone, folder.string()));
        fs::remove_all(folder);
    }
    fs::create_directories(folder / "dri");
    for (const char* node : {"renderD130", "renderD128"})
        fs::create_symlink("/dev/null", folder / "dri" / node);
    const std::vector<std::string> nodes = {folder / "dri/renderD128", folder / "dri/renderD130"};
    EXPECT_EQ(RenderNodes(folder.string()), nodes);
    fs::remove_all(folder);
}

TEST(WavHeader, HoldsEverySize)
{
    // The largest data with 32-bit sizes is what leaves RIFF below 0xFFFFFFFF.
    const uint64_t largest = 0xFFFFFFFE - 72;
    const struct {
        int channels;
        uint64_t data;
        const char* tags; // of the file, and of the chunk in front of the format
        uint32_t mask;    // of more than two channels
    } cases[] = {
        {1, 0, "RIFFJUNK", 0},
        {2, 441000, "RIFFJUNK", 0},
        {2, largest, "RIFFJUNK", 0},
        {2, largest + 2, "RF64ds64", 0},
        {1, largest + 2, "RF64ds64", 0},
        {2, uint64_t{1} << 32, "RF64ds64", 0},
        {2, kUnknownLength, "RIFFJUNK", 0},
        {3, 6, "RIFFJUNK", 0},
        {4, 8, "RIFFJUNK", 0x33},
        {6, 12, "RIFFJUNK", 0x3F},
        {6, 12 * (uint64_t{1} << 40), "RF64ds64", 0x3F},
        {8, 16, "RIFFJUNK", 0x63F},
        {32, 64, "RIFFJUNK", 0},
    };
    for (const auto& [channels, data, tags, mask] : cases) {
        const bool large = tags[1] == 'F', unknown = data == kUnknownLength, extensible = channels > 2;
        const uint64_t block = 2 * static_cast<uint64_t>(channels), riff = (extensible ? 96 : 72) + data;
        const std::string tag = tags;
        std::string wanted = tag.substr(0, 4) + Word(large || unknown ? 0xFFFFFFFF : riff, 4) + "WAVE" + tag.substr(4) +
                             Word(28, 4) + Word(large ? riff : 0, 8) + Word(large ? data : 0, 8) +
                             Word(large ? data / block : 0, 8) + Word(0, 4);
        wanted += "fmt " + Word(extensible ? 40 : 16, 4) + Word(extensible ? 0xFFFE : 1, 2) + Word(block / 2, 2) +
                  Word(48000, 4) + Word(48000 * block, 4) + Word(block, 2) + Word(16, 2);
        if (extensible)
            wanted += Word(22, 2) + Word(16, 2) + Word(mask, 4) +
                      std::string("\1\0\0\0\0\0\x10\0\x80\0\0\xAA\0\x38\x9B\x71", 16);
        wanted += "data" + Word(large || unknown ? 0xFFFFFFFF : data, 4);
        const WavHeader header = MakeWavHeader(48000, channels, data);
        EXPECT_EQ(std::string(header.bytes.begin(), header.bytes.begin() + header.size), wanted)
            << channels << " channels, " << data << " bytes";
    }
}
