// What is written on the command line: values, options, and what is said of bad ones.
#include "host/base/ExitCode.h"
#include "host/commands/CommandLine.h"
#include "host/commands/ConvertArguments.h"
#include "host/commands/EncodeArguments.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace
{

using namespace host;

template <class Options> Options Parse(void (*add)(CLI::App&, Options&), const std::string& arguments)
{
    CLI::App app;
    Options options;
    add(app, options);
    app.parse("in -o out " + arguments);
    return options;
}

// What the program says of a command line that it refuses; empty if it takes it. "@" stands for an empty word.
std::string RefusalOf(const std::string& line)
{
    std::istringstream stream("encmgr " + line);
    std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word == "@" ? word.data() + 1 : word.data());
    try {
        ParseCommandLine(static_cast<int>(arguments.size()), arguments.data());
    } catch (const HostError& error) {
        EXPECT_EQ(error.Code(), kExitUsage);
        return error.what();
    }
    return {};
}

} // namespace

TEST(Values, RatesAreExactAndTelevisionRatesKnownByTheirDecimals)
{
    const struct {
        const char* text;
        AVRational rate;
    } cases[] = {
        {"25", {25, 1}},          {"12.5", {25, 2}},        {"0.01", {1, 100}},
        {"200", {200, 1}},        {"29.97", {30000, 1001}}, {"23.976", {24000, 1001}},
        {"23.98", {24000, 1001}}, {"59.94", {60000, 1001}}, {"119.88", {120000, 1001}},
        {"29.94", {1497, 50}},    {"14.99", {1499, 100}},   {"30000/1001", {30000, 1001}},
        {"50/2", {50, 2}},
    };
    for (const auto& [text, rate] : cases) {
        const AVRational parsed = ParseRate(text).value_or(AVRational{0, 0});
        EXPECT_EQ(parsed.num, rate.num) << text;
        EXPECT_EQ(parsed.den, rate.den) << text;
    }
    for (const char* text :
         {"200.1", "0.009", "401/2", "1/101", "1e300", "0/1", "1/0", "-25", "25fps", "30000/", "nan", ""})
        EXPECT_FALSE(ParseRate(text)) << text;
}

TEST(Values, SizesKeepToTheirBounds)
{
    for (const char* text : {"640x360", "640X360"}) {
        const auto size = ParseSize(text, 360, 640);
        ASSERT_TRUE(size) << text;
        EXPECT_EQ(size->width, 640);
        EXPECT_EQ(size->height, 360);
    }
    for (const char* text : {"641x360", "640x359", "640", "640x", "x360", "640x360x1", "-640x360", "640x360 ", ""})
        EXPECT_FALSE(ParseSize(text, 360, 640)) << text;
    EXPECT_EQ(ParseAspect("16:9").value_or(AVRational{}).num, 16);
    for (const char* text : {"16/9", "0:9", "1001:1", "16:"})
        EXPECT_FALSE(ParseAspect(text)) << text;
}

TEST(Values, OneSideOfASizeMayBeFree)
{
    const std::pair<const char*, PictureSize> cases[] = {
        {"640x", {640, kFree}}, {"x360", {kFree, 360}}, {"640x-1", {640, kFreeAny}}, {"-2X360", {kFreeEven, 360}}};
    for (const auto& [text, size] : cases) {
        EXPECT_EQ(ParseSizeOrSide(text, 2, 640).value_or(PictureSize{}).width, size.width) << text;
        EXPECT_EQ(ParseSizeOrSide(text, 2, 640).value_or(PictureSize{}).height, size.height) << text;
    }
    for (const char* text : {"x", "", "641x", "-1x-2", "x-1", "640x-3", "640x0", "640"})
        EXPECT_FALSE(ParseSizeOrSide(text, 2, 640)) << text;
}

TEST(Values, TimesCountNanoseconds)
{
    const std::pair<const char*, int64_t> cases[] = {
        {"0", 0},
        {"12.5", 12'500'000'000},
        {"90", 90'000'000'000},
        {"1:30", 90'000'000'000},
        {"100:00.000000001", 6'000'000'000'001},
        {"01:02:03.250", 3723'250'000'000},
        {"1000000000", 1'000'000'000'000'000'000},
    };
    for (const auto& [text, time] : cases)
        EXPECT_EQ(ParseTime(text), time) << text;
    for (const char* text : {"", "-1", "-0.5", "1:60", "1:60:00", "1:2:3:4", "1.", ".5", "1.0000000001", "1.2.3", "1e3",
                             "1:-2", "1s", "1000000001", "1:", ":1"})
        EXPECT_FALSE(ParseTime(text)) << text;
}

TEST(Values, BitRatesTakeUnitsOfAThousand)
{
    const std::pair<const char*, int> cases[] = {
        {"1000", 1000}, {"1.001k", 1001}, {"128K", 128000}, {"1.5M", 1500000}, {"2147483647", INT_MAX}};
    for (const auto& [text, rate] : cases)
        EXPECT_EQ(ParseBitRate(text), rate) << text;
    for (const char* text : {"2148M", "999", "k", "1kk", "1G", "-5M", "inf", ""})
        EXPECT_FALSE(ParseBitRate(text)) << text;
}

TEST(Options, EachHasItsPlace)
{
    const EncodeOptions plain = Parse(AddEncodeArguments, "");
    EXPECT_EQ(plain.input, "in");
    EXPECT_EQ(plain.output, "out");
    EXPECT_FALSE(plain.size || plain.frameRate || plain.fit || plain.pictures || plain.noVideo || plain.overwrite);

    const EncodeOptions encode =
        Parse(AddEncodeArguments, "-a b -f mkv --vc ffv1 --ac pcm -y -s 640x360 -r 29.97 --scale near "
                                  "--vb 2M --frames 7 --ab 96k --ar 44100 --channels 1");
    EXPECT_EQ(encode.audioInput, "b");
    EXPECT_EQ(encode.format, "mkv");
    EXPECT_EQ(encode.videoEncoder, "ffv1");
    EXPECT_EQ(encode.audioEncoder, "pcm");
    EXPECT_TRUE(encode.overwrite);
    EXPECT_EQ(encode.size->height, 360);
    EXPECT_EQ(encode.frameRate->den, 1001);
    EXPECT_EQ(encode.scaling, Scaling::kNear);
    EXPECT_EQ(encode.videoBitRate, 2000000);
    EXPECT_EQ(encode.pictures, 7);
    EXPECT_EQ(encode.audioBitRate, 96000);
    EXPECT_EQ(encode.sampleRate, 44100);
    EXPECT_EQ(encode.channels, 1);
    const EncodeOptions quality = Parse(AddEncodeArguments, "--crf 18.5 --preset slow --tune film --gop 9 --fragmented "
                                                            "--vopt a=1 --vopt b=c=d --aopt e=");
    EXPECT_EQ(quality.quality, 18.5);
    EXPECT_EQ(quality.preset + quality.tune, "slowfilm");
    EXPECT_EQ(quality.keyDistance, 9);
    EXPECT_TRUE(quality.isFragmented);
    EXPECT_EQ(quality.videoOptions, (std::vector<std::string>{"a=1", "b=c=d"}));
    EXPECT_EQ(quality.audioOptions, std::vector<std::string>{"e="});
    EXPECT_EQ(Parse(AddEncodeArguments, "--vb 1M --passes 2").passes, 2);
    const std::pair<const char*, IMAGE_RESIZE_METHOD> fits[] = {{"stretch", IMAGE_RESIZE_STRETCH},
                                                                {"keep", IMAGE_RESIZE_KEEP},
                                                                {"16:9", IMAGE_RESIZE_16_9},
                                                                {"4:3", IMAGE_RESIZE_4_3},
                                                                {"crop", IMAGE_RESIZE_CROP}};
    for (const auto& [word, fit] : fits)
        EXPECT_EQ(Parse(AddEncodeArguments, std::string("--fit ") + word).fit, fit);
    EXPECT_TRUE(Parse(AddEncodeArguments, "--vn").noVideo);
    EXPECT_TRUE(Parse(AddEncodeArguments, "--an").noAudio);

    const ConvertOptions convert =
        Parse(AddConvertArguments, "-s 2x16384 --scale convolve --overlay o --overlay-size 3x4 --at 0x5 --mask m "
                                   "--through uyvy --difference 255");
    EXPECT_EQ(convert.size->height, 16384);
    EXPECT_EQ(convert.scaling, Scaling::kCubic);
    EXPECT_EQ(convert.overlay, "o");
    EXPECT_EQ(convert.overlaySize->width, 3);
    EXPECT_EQ(convert.overlayAt.height, 5);
    EXPECT_EQ(convert.mask, "m");
    EXPECT_EQ(convert.through, Through::kUyvy);
    EXPECT_EQ(convert.difference, 255);
}

// The option, the bad text, and what is expected instead.
TEST(Options, ARefusalNamesWhatIsWrong)
{
    const std::string encode = "encode in -o out ", convert = "convert in -o out ";
    const struct {
        std::string line;
        const char* says;
    } cases[] = {
        {"", "list, encode, convert"},
        {"nonsense", "nonsense; --help"},
        {"enocde in -o out", "did you mean encode?"},
        {encode + "--sise 3x3", "did you mean --size?"},
        {encode + "--fit corp", "16:9, 4:3 and crop; did you mean crop?"},
        {encode + "-n -y", "--overwrite excludes --no-overwrite"},
        {encode + "--max-gap 0", "--max-gap: \"0\" isn't a number of seconds from 0.1"},
        {"encode", "INPUT"},
        {"encode in", "--output"},
        {"list -q -v", "--quiet excludes --verbose"},
        {encode + "more", "more"},
        {encode + "-s 10", "-s: \"10\" isn't a size such as 640x360 or 1280x, from 16 to 16384"},
        {encode + "--size 15x99", "-s: \"15x99\""},
        {encode + "-r 201", "-r: \"201\" isn't a frame rate such as 25"},
        {encode + "--fit wide", "--fit: \"wide\" isn't one of stretch, keep, 16:9, 4:3 and crop"},
        {encode + "--scale convolve", "--scale: \"convolve\" isn't one of near, bilinear, cubic and smooth"},
        {encode + "--vb 1", "--vb: \"1\" isn't a bit rate"},
        {encode + "--ab x", "--ab: \"x\" isn't a bit rate"},
        {encode + "--ar 999", "--ar: \"999\" isn't a sample rate from 1000 to 384000"},
        {encode + "--channels 3", "--channels: \"3\" isn't 1 or 2"},
        {encode + "--frames 0", "--frames: \"0\" isn't a count from 1"},
        {encode + "--vn --an", "--vn excludes --an"},
        {encode + "--crf x", "--crf: \"x\" isn't a number"},
        {encode + "--crf 20 --vb 1M", "--vb excludes --crf"},
        {encode + "--passes 2", "--passes requires --vb"},
        {encode + "--passes 3 --vb 1M", "--passes: \"3\" isn't 1 or 2"},
        {encode + "--gop 0", "--gop: \"0\" isn't a count from 1"},
        {encode + "--vopt g", "--vopt: \"g\" isn't of the form key=value"},
        {encode + "--vn --vc ffv1", "--vc excludes --vn"},
        {encode + "--an --ac pcm", "--ac excludes --an"},
        {encode + "--an -a b", "--audio excludes --an"},
        {"encode @ -o out", "INPUT: an empty file name"},
        {"encode in -o @", "--output: an empty file name"},
        {convert + "--at 1x1", "--at requires --overlay"},
        {convert + "--overlay-size 9x9", "--overlay-size requires --overlay"},
        {convert + "--difference 9", "--difference requires --through"},
        {convert + "--through yuy2 --difference 256", "--difference: \"256\" isn't a factor from 1 to 255"},
        {convert + "-s 1x2", "-s: \"1x2\" isn't a size such as 640x360 or 640x, from 2 to"},
    };
    for (const auto& [line, says] : cases)
        EXPECT_NE(RefusalOf(line).find(says), std::string::npos) << line << "\n" << RefusalOf(line);
    EXPECT_EQ(RefusalOf(encode + "-s 10 -s 64x64"), "") << "the last one counts";
    EXPECT_EQ(RefusalOf(convert), "");
}

TEST(Values, LimitsBelongToTheRange)
{
    const struct {
        const char* option;
        std::vector<const char*> taken, refused;
    } cases[] = {
        {"encode in -o out -s ", {"16x16", "16384x16384"}, {"15x16", "16x15", "16385x16", "16x16385"}},
        {"encode in -o out --ar ", {"1000", "384000"}, {"999", "384001"}},
        {"encode in -o out --channels ", {"1", "2"}, {"0", "3"}},
        {"encode in -o out --frames ", {"1", "2000000000"}, {"0", "2000000001"}},
        {"encode in -o out --vb ", {"1000", "2147483647"}, {"999", "2147483648"}},
        {"convert in -o out -s ", {"2x2", "16384x2"}, {"1x2", "2x1", "16385x2"}},
    };
    for (const auto& [option, taken, refused] : cases) {
        for (const char* value : taken)
            EXPECT_EQ(RefusalOf(std::string(option) + value), "") << option << value;
        for (const char* value : refused)
            EXPECT_NE(RefusalOf(std::string(option) + value), "") << option << value;
    }
}
