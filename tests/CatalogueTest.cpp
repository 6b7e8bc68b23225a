// The choice of a format and its encoders by what people write.
#include "host/job/Catalogue.h"
#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <algorithm>
#include <cwchar>
#include <gtest/gtest.h>

namespace
{

using namespace host;

ENCODER_INFO Encoder(KXDWORD fourCC, const wchar_t* name)
{
    ENCODER_INFO info = {};
    info.dwFourCC = fourCC;
    std::wcscpy(info.szName, name);
    return info;
}

FILEFORMAT_INFO Format(KXDWORD fourCC, const wchar_t* shortName, const wchar_t* name, std::vector<ENCODER_INFO*>& video,
                       std::vector<ENCODER_INFO*>& audio)
{
    FILEFORMAT_INFO info = {};
    info.dwFourCC = fourCC;
    std::wcscpy(info.szShortName, shortName);
    std::wcscpy(info.szName, name);
    info.nVideoEncoders = static_cast<int>(video.size()), info.nAudioEncoders = static_cast<int>(audio.size());
    info.ppVideoEncoders = video.data(), info.ppAudioEncoders = audio.data();
    return info;
}

class CatalogueTest : public testing::Test
{
protected:
    ENCODER_INFO h264 = Encoder(KX_FOURCC('H', '2', '6', '4'), L"H.264 / AVC");
    ENCODER_INFO mpeg4 = Encoder(KX_FOURCC('M', 'P', '4', 'V'), L"MPEG-4 Visual");
    ENCODER_INFO mpeg2 = Encoder(KX_FOURCC('M', 'P', '2', 'V'), L"MPEG-2");
    ENCODER_INFO aac = Encoder(KX_FOURCC('A', 'A', 'C', ' '), L"AAC-LC");
    ENCODER_INFO pcm = Encoder(KX_FOURCC('P', 'C', 'M', ' '), L"PCM");
    std::vector<ENCODER_INFO*> pictures = {&h264, &mpeg4, &mpeg2}, sound = {&aac, &pcm}, raw = {&pcm}, none = {};
    FILEFORMAT_INFO formats[5] = {
        Format(KX_FOURCC('M', 'K', 'V', ' '), L"Matroska", L"Matroska file", pictures, sound),
        Format(KX_FOURCC('M', 'P', '4', ' '), L"MP4", L"MP4 file", pictures, sound),
        Format(KX_FOURCC('W', 'A', 'V', ' '), L"WAV", L"Wave file", none, raw),
        Format(KX_FOURCC('T', 'S', ' ', ' '), L"MPEG-TS", L"Transport stream", pictures, sound),
        {},
    };

    // "MKV H264 AAC", "-" for a stream that is left out; or what the refusal says.
    std::string Choose(const EncodeOptions& options) const
    {
        try {
            const Choice choice = Catalogue(formats).Choose(options);
            return FourCCText(choice.format->dwFourCC) + " " +
                   (choice.video ? FourCCText(choice.video->dwFourCC) : "-") + " " +
                   (choice.audio ? FourCCText(choice.audio->dwFourCC) : "-");
        } catch (const HostError& error) {
            EXPECT_EQ(error.Code(), kExitUsage);
            return error.what();
        }
    }
};

} // namespace

TEST_F(CatalogueTest, TheEndingChoosesTheFormatAndItsFirstEncoders)
{
    for (const auto& [output, chosen] : {std::pair{"a.mkv", "MKV H264 AAC"},
                                         {"dir.wav/A.MP4", "MP4 H264 AAC"},
                                         {"a.m4v", "MP4 H264 AAC"},
                                         {"a.mka", "MKV - AAC"},
                                         {"a.wave", "WAV - PCM"},
                                         {"a.mts", "TS H264 AAC"},
                                         {"a.m2ts", "TS H264 AAC"},
                                         {"a.tar.wav", "WAV - PCM"}})
        EXPECT_EQ(Choose({.output = output}), chosen) << output;
    for (const char* output : {"a", "a.xyz", "dir.mkv/a", ".mkv", "-"})
        EXPECT_EQ(Choose({.output = output}).find("no file format goes by the ending of \"" + std::string(output)), 0u);
}

TEST_F(CatalogueTest, NamesAreFourCCsNamesOrTheirBeginnings)
{
    const struct {
        const char *format, *video, *audio;
        const char* chosen;
    } cases[] = {
        {"mkv", "", "", "MKV H264 AAC"},
        {"MATROSKA", "", "", "MKV H264 AAC"},
        {"wave", "", "", "WAV - PCM"},
        {"mp4", "h264", "pcm", "MP4 H264 PCM"},
        {"mp4", "h.264", "Pc", "MP4 H264 PCM"},
        {"mp4", "mp4v", "aac ", "MP4 MP4V AAC"},
        {"mp4", "MPEG-2", "", "MP4 MP2V AAC"}, // the whole of a name beats its being a beginning
        {"mp4", "mpeg", "",
         "more than one video encoder of MP4 is called \"mpeg\"; did you mean MP4V or MP2V? "
         "There are: H264 (H.264 / AVC), MP4V (MPEG-4 Visual), MP2V (MPEG-2)"},
        {"m", "", "", "more than one file format is called \"m\"; there are: MKV (Matroska), MP4, WAV, TS (MPEG-TS)"},
        {"ogg", "", "", "no file format is called \"ogg\"; there are: MKV (Matroska), MP4, WAV, TS (MPEG-TS)"},
        {"mp4", "-", "",
         "no video encoder of MP4 is called \"-\"; there are: "
         "H264 (H.264 / AVC), MP4V (MPEG-4 Visual), MP2V (MPEG-2)"},
        {"wav", "h264", "", "no video encoder of WAV is called \"h264\", but one of MKV, MP4, TS is; there are: none"},
        {"mp4", "x264", "",
         "no video encoder of MP4 is called \"x264\"; did you mean H264? There are: "
         "H264 (H.264 / AVC), MP4V (MPEG-4 Visual), MP2V (MPEG-2)"},
        {"wave", "", "wav", "no audio encoder of WAV is called \"wav\"; did you mean PCM? There are: PCM"},
        {"mkb", "", "",
         "no file format is called \"mkb\"; did you mean MKV? There are: MKV (Matroska), MP4, WAV, TS (MPEG-TS)"},
    };
    for (const auto& [format, video, audio, chosen] : cases)
        EXPECT_EQ(Choose({.output = "a.xyz", .format = format, .videoEncoder = video, .audioEncoder = audio}), chosen);
}

TEST_F(CatalogueTest, StreamsAreLeftOutWhereTheyAreNotWantedOrNotHeld)
{
    EXPECT_EQ(Choose({.output = "a.mkv", .noVideo = true}), "MKV - AAC");
    EXPECT_EQ(Choose({.output = "a.mkv", .noAudio = true}), "MKV H264 -");
    EXPECT_EQ(Choose({.output = "a.mka", .videoEncoder = "h264"}), "MKV H264 AAC") << "named, so it is wanted";
    EXPECT_EQ(Choose({.output = "a.mka", .format = "mkv"}), "MKV H264 AAC") << "the ending wasn't asked";
    EXPECT_EQ(Choose({.output = "a.wav", .noAudio = true}), "WAV holds nothing of what is left to write");
    EXPECT_EQ(Choose({.output = "a.mka", .noAudio = true}), "MKV holds nothing of what is left to write");
}
