// What encmgr takes of its input: a part, streams, titles and covers.
#include "tests/HostRun.h"

#include <fstream>
#include <iterator>

namespace
{

class HostSelectTest : public HostTest
{
protected:
    void Make(const std::string& arguments)
    {
        ASSERT_EQ(Shell("ffmpeg -v error -nostdin -y " + arguments), 0) << m_said;
    }

    std::string Bytes(const std::string& name) const
    {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    // What ffprobe shows, a line for each entry.
    std::string Probe(const std::string& name, const std::string& entries)
    {
        EXPECT_EQ(Shell("ffprobe -v error -of compact=p=0 " + entries + " " + name), 0) << m_said;
        return m_said;
    }
};

} // namespace

// Of containers that can be entered anywhere, ones whose key pictures need others before them, and a pipe.
TEST_F(HostSelectTest, APartHasThePicturesThatTheWholeHasThere)
{
    constexpr size_t kPicture = 64 * 48 * 3 / 2 + 6; // of Y4M
    const std::string source = "-f lavfi -i testsrc2=size=64x48:rate=30000/1001 -t 6 -pix_fmt yuv420p ";
    const std::pair<const char*, const char*> files[] = {
        {"a.mp4", "-c:v libx264 -bf 3 -g 60"},
        {"a.mkv", "-c:v libx264 -x264-params open-gop=1:keyint=40"},
        {"b.mkv", "-c:v libx264 -x264-params intra-refresh=1:keyint=40"},
        {"a.avi", "-c:v mpeg4 -bf 2 -g 50 -q:v 3"},
        {"a.ts", "-c:v mpeg2video -bf 2 -q:v 3"},
    };
    for (const auto& [name, codec] : files) {
        Make(source + codec + " " + name);
        ASSERT_EQ(Run(std::string("-q encode ") + name + " -o whole.y4m -y"), 0) << m_said;
        const std::string whole = Bytes("whole.y4m");
        const size_t header = whole.find('\n') + 1;
        // Chunks that begin where one ended make the whole again.
        std::string joined = whole.substr(0, header);
        for (int i = 0; i < 4; ++i) {
            const long long nanoseconds = 45LL * i * 1'001'000'000'000 / 30'000;
            const std::string time = std::to_string(nanoseconds / 1'000'000'000) + "." +
                                     std::to_string(1'000'000'000 + nanoseconds % 1'000'000'000).substr(1);
            ASSERT_EQ(Run(std::string("-q encode ") + name + " -o part.y4m -y --frames 45 --expect-frames 45 --start " +
                          time),
                      0)
                << m_said;
            joined += Bytes("part.y4m").substr(header);
        }
        EXPECT_TRUE(joined == whole) << name;
        for (const auto& [start, first] : {std::pair("0.334", 10), {"3.0363", 91}, {"00:00:05.839", 175}})
            for (const std::string& input : {std::string(name), "- <" + std::string(name)}) {
                if (input == "- <a.mp4") // whose index stands at its end
                    continue;
                const std::string part = std::string(" -o part.y4m -y --frames 4 --start ") + start;
                ASSERT_EQ(Shell("encmgr -q encode" + part + " " + input), 0) << m_said;
                EXPECT_TRUE(Bytes("part.y4m").substr(header) == whole.substr(header + first * kPicture, 4 * kPicture))
                    << input << " " << start;
            }
    }
}

TEST_F(HostSelectTest, AudioBeginsAndEndsWithThePictures)
{
    Make("-f lavfi -i testsrc2=size=64x48:rate=25 -f lavfi -i anoisesrc=r=48000:a=0.3 -t 6 -c:v mpeg4 -c:a pcm_s16le "
         "a.mov");
    ASSERT_EQ(Shell("encmgr -q encode a.mov -o a.wav --vn && encmgr -q encode a.mov -o p.mkv --vc ffv1 --ac pcm "
                    "--start 2.03 --end 0:3.99 && ffmpeg -v error -i p.mkv p.wav"),
              0)
        << m_said;
    const auto samplesOf = [this](const std::string& name) {
        const std::string bytes = Bytes(name);
        return bytes.substr(bytes.find("data") + 8);
    };
    const std::string whole = samplesOf("a.wav"), samples = samplesOf("p.wav");
    EXPECT_EQ(samples.size(), 49u * 1920 * 2); // the pictures from 2.04 to 3.96, that one to its end
    EXPECT_EQ(whole.find(samples), 2.04 * 48000 * 2);

    EXPECT_EQ(Run("encode a.mov -o x.mkv --start 6.5"), 3) << m_said;
    EXPECT_TRUE(Said("a.mov ends before --start, 0:06")) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("x.mkv")));
    EXPECT_EQ(Run("encode a.mov -o x.mkv --start 2 --end 2"), 2) << m_said;
}

TEST_F(HostSelectTest, StreamsAreTakenByNumberOrLanguage)
{
    ASSERT_EQ(Shell("printf '1\\n00:00:00,000 --> 00:00:01,000\\nx\\n' > s.srt"), 0);
    Make("-f lavfi -i testsrc2=size=64x48 -f lavfi -i sine=300 -f lavfi -i sine=900 -i s.srt -t 1 -map 0 -map 1 -map 2 "
         "-map 3 -metadata:s:a:0 language=deu -metadata:s:a:1 language=eng -metadata:s:a:1 title=Remarks "
         "-metadata:s:s:0 language=fre -c:v mpeg4 -c:a flac -c:s srt a.mkv");
    const std::pair<const char*, const char*> choices[] = {
        {"0", "deu"}, {"1", "eng"}, {"de", "deu"}, {"ger", "deu"}, {"EN", "eng"}};
    for (const auto& [wish, language] : choices) {
        ASSERT_EQ(Run(std::string("encode a.mkv -o b.mkv -y --audio-stream ") + wish), 0) << m_said;
        EXPECT_TRUE(Said(", subtitle 0 (fre)\n")) << m_said;
        EXPECT_NE(Probe("b.mkv", "-select_streams a -show_entries stream_tags=language").find(language),
                  std::string::npos)
            << wish << m_said;
    }
    for (const std::string wish : {"2", "fra", "x"}) {
        EXPECT_EQ(Run("encode a.mkv -o c.mkv --audio-stream " + wish), 2);
        EXPECT_TRUE(Said("no audio stream " + wish + "; there is audio 0 (deu), audio 1 (eng, Remarks)")) << m_said;
    }
}

TEST_F(HostSelectTest, TitlesChaptersAndCoversAreCarriedOver)
{
    ASSERT_EQ(Shell("printf ';FFMETADATA1\\ntitle=A\\\\=B: \\\\\\\\C\\n[CHAPTER]\\nTIMEBASE=1/1\\nSTART=0\\nEND=2\\n"
                    "title=one\\n[CHAPTER]\\nTIMEBASE=1/1\\nSTART=2\\nEND=4\\ntitle=two\\n' > m.txt"),
              0);
    Make("-f lavfi -i testsrc=size=20x30 -frames:v 1 c.jpg");
    Make("-f lavfi -i testsrc2=size=64x48 -f lavfi -i sine -i m.txt -t 4 -map 0 -map 1 -map_metadata 2 -c:v mpeg4 -c:a "
         "aac -attach c.jpg -metadata:s:t mimetype=image/jpeg -metadata:s:v:0 language=jpn a.mkv");
    const struct {
        const char* name;
        bool chapters, cover;
    } formats[] = {{"b.mkv", true, true},   {"b.mp4", true, true},   {"b.m4a", true, true},   {"b.mp3", true, true},
                   {"b.flac", false, true}, {"b.webm", true, false}, {"b.avi", false, false}, {"b.mov", true, false}};
    for (const auto& [name, chapters, cover] : formats) {
        SCOPED_TRACE(name);
        ASSERT_EQ(Run(std::string("-v encode a.mkv --start 1 -o ") + name), 0) << m_said;
        EXPECT_EQ(Said("has no place for the chapters"), !chapters) << m_said;
        EXPECT_EQ(Said("has no place for the cover"), !cover) << m_said;
        const std::string said =
            Probe(name, "-show_chapters -show_entries "
                        "format_tags=title:stream=codec_name,width:stream_disposition=attached_pic");
        EXPECT_NE(said.find("tag:title=A=B: \\\\C"), std::string::npos) << said; // ffprobe doubles the stroke
        EXPECT_EQ(said.find("end_time=1.000000|tag:title=one") != std::string::npos, chapters) << said;
        EXPECT_EQ(said.find("start_time=1.000000") != std::string::npos &&
                      said.find("end_time=3.000000|tag:title=two") != std::string::npos,
                  chapters)
            << said;
        EXPECT_EQ(said.find("codec_name=mjpeg|width=20|disposition:attached_pic=1") != std::string::npos, cover)
            << said;
    }
    // A cover is no video, and --no-metadata leaves all of it out.
    ASSERT_EQ(Run("encode b.mp3 -o d.mkv"), 0) << m_said;
    EXPECT_EQ(Probe("d.mkv", "-select_streams V -show_entries stream=codec_name"), "");
    ASSERT_EQ(Run("encode a.mkv -o e.mkv --no-metadata"), 0) << m_said;
    const std::string bare = Probe("e.mkv", "-show_chapters -show_entries format_tags=title:stream_tags=language");
    EXPECT_EQ(bare.find("one"), std::string::npos) << bare;
    EXPECT_EQ(bare.find("A=B"), std::string::npos) << bare;
    EXPECT_EQ(bare.find("jpn"), std::string::npos) << bare;
    ASSERT_EQ(Run("encode a.mkv -o f.y4m && encmgr encode a.mkv -o f.wav"), 0) << m_said; // take none of it
}

TEST_F(HostSelectTest, ThePlanSaysWhatIsDoneToThePictures)
{
    Make("-f lavfi -i testsrc2=size=64x48 -frames:v 5 -vf scale=out_range=full,setsar=64/45 -pix_fmt yuvj422p -c:v "
         "mjpeg "
         "a.mov");
    Make("-i a.mov -c copy -metadata:s:v rotate=90 b.mov");
    ASSERT_EQ(Run("-v encode b.mov -o b.mkv"), 0) << m_said;
    for (const char* line : {"turned left by 90 degrees", "from yuvj422p to 4:2:0 of 8 bits",
                             "from full range to limited range", "the file states pixels of 45:64"})
        EXPECT_TRUE(Said(line)) << line << "\n" << m_said;
    EXPECT_EQ(Probe("b.mkv", "-show_entries stream=width,height,sample_aspect_ratio,color_range"),
              "width=48|height=64|sample_aspect_ratio=45:64|color_range=tv\n");
    ASSERT_EQ(Run("-v encode b.mov -o c.mkv -s 22x --scale cubic"), 0) << m_said;
    EXPECT_TRUE(Said("scaled by cubic convolution to 22x")) << m_said;
    EXPECT_EQ(Probe("c.mkv", "-show_entries stream=width,height"), "width=22|height=42\n");
}
