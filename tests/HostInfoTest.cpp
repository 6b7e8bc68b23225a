// What encmgr tells of inputs, plug-ins and itself, and options that come from files.
#include "tests/HostRun.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

namespace
{

class HostInfoTest : public HostTest
{
protected:
    nlohmann::json RunJson(const std::string& arguments)
    {
        EXPECT_EQ(Run(arguments), 0) << m_said;
        return nlohmann::json::parse(m_said, nullptr, false);
    }
};

} // namespace

TEST_F(HostInfoTest, ProbeNamesEveryStream)
{
    ASSERT_EQ(Shell("encmgr -q encode testcard:size=160x90,seconds=2,rate=30000/1001 -o a.mp4 && "
                    "printf '1\\n00:00:00,000 --> 00:00:01,000\\nhi\\n' >s.srt && "
                    "printf ';FFMETADATA1\\n[CHAPTER]\\nTIMEBASE=1/1000\\nSTART=500\\nEND=2000\\n"
                    "title=End\\n' >c.txt && "
                    "ffmpeg -nostdin -v error -i a.mp4 -i s.srt -i c.txt -f lavfi -i sine=d=2 -map 0 -map 3 -map 1 "
                    "-metadata title=\"$(printf 'Film\\033[2J')\" -map_chapters 2 -c:v copy -ac:a:1 6 -c:a flac "
                    "-metadata:s:a:1 language=deu "
                    "-attach s.srt -metadata:s:t mimetype=text/plain -color_trc:v bt709 -aspect 4:3 a.mkv && "
                    "ffmpeg -nostdin -v error -i a.mp4 -f lavfi -i color=s=30x20:d=0.04 -map 0:a -map 1 -c:v png "
                    "-disposition:v attached_pic a.mp3"),
              0)
        << m_said;
    auto json = RunJson("probe a.mkv --json");
    EXPECT_EQ(json["schema"], "encmgr.probe");
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["tags"]["title"], "Film\033[2J");
    EXPECT_NEAR(json["duration"].get<double>(), 2.0, 0.1);
    EXPECT_EQ(json["chapters"][0]["start"], 0.5);
    EXPECT_EQ(json["chapters"][0]["title"], "End");
    ASSERT_EQ(json["streams"].size(), 5u);
    EXPECT_EQ(json["streams"][4]["title"], "s.srt");
    const auto& video = json["streams"][0]["video"];
    EXPECT_EQ(video["frameRate"], "30000/1001"); // of stamps in milliseconds
    EXPECT_EQ(video["rateKind"], "steady");
    EXPECT_EQ(video["shown"]["displayAspect"], "4:3");
    EXPECT_EQ(video["pixelFormat"], "yuv420p");
    EXPECT_EQ(video["bits"], 8);
    EXPECT_EQ(video["colour"].dump(), R"({"highDynamicRange":null,"isMatrixStated":true,"matrix":"smpte170m",)"
                                      R"("primaries":null,"range":"limited","transfer":null})");
    EXPECT_EQ(json["size"], std::filesystem::file_size(Path("a.mkv")));
    EXPECT_GT(json["bitRate"], 10000);
    EXPECT_EQ(json["start"], 0.0);
    EXPECT_EQ(json["streams"][0]["profile"], "High");
    EXPECT_TRUE(json["streams"][0]["isDecodable"] && json["streams"][0]["isDefault"]);
    EXPECT_FALSE(json["streams"][0]["isForced"]);
    EXPECT_TRUE(json["streams"][1]["isUsed"]);
    EXPECT_FALSE(json["streams"][2]["isUsed"]);
    EXPECT_EQ(json["streams"][2]["audio"]["layout"], "5.1");
    EXPECT_EQ(json["streams"][2]["language"], "deu");
    EXPECT_EQ(json["streams"][3]["kind"], "subtitles");

    ASSERT_EQ(Run("probe -", "cat a.mkv |"), 0) << m_said;
    for (const char* text : {"title: Film [2J\n", "160x90, 29.97 fps (30000/1001), steady", "pixels 3:4",
                             "6 channels, 5.1, s16, deu, left out by encode", "subtitles", "0:00.500 - 0:02.000  End"})
        EXPECT_TRUE(Said(text)) << text << " in " << m_said;
    EXPECT_EQ(RunJson("probe a.mp3 --json")["streams"][1]["kind"], "cover");
    EXPECT_EQ(RunJson("probe testcard:audio=none,rate=5 --json")["streams"][0]["video"]["framesPerSecond"], 5.0);
    EXPECT_EQ(Run("probe s.srt.gone"), 3);
    EXPECT_EQ(Shell("seq 99 >junk && encmgr probe junk"), 3);
}

// What ffprobe reads of one file of each kind.
TEST_F(HostInfoTest, FilesStateWhatTheyHold)
{
    if (Shell("ffprobe -version | grep -q 'libavformat *59'") != 0)
        GTEST_SKIP() << "other releases of libav state other things";
    ASSERT_EQ(
        Shell("printf 'hevc.mp4 --vc hevc --ac aac\\nh264.mov --vc h264 --ac pcm\\nmpeg4.mp4 --vc mp4v --ac mp3\\n"
              "vp9.webm --vc vp9 --ac opus\\nmjpeg.mkv --vc mjpg --ac vorb\\nprores.mov --vc apcn --ac pcm\\n"
              "h264.ts --ac opus\\nh264.avi --ac pcm\\na.mka --vn --ac flac\\np.ogg --ac vorb\\ng.gif --an\\n"
              "g.apng --an\\n' | while read -r out options; do encmgr -q encode "
              "testcard:seconds=1,size=130x98,rate=30000/1001,audio=44100x2 -o $out $options </dev/null; "
              "printf \"$out \"; ffprobe -v error -of compact=p=0:nk=1 -show_entries format=nb_streams:stream="
              "codec_name,codec_tag_string,profile,width,height,sample_aspect_ratio,pix_fmt,color_range,"
              "color_space,color_transfer,color_primaries,field_order,sample_fmt,sample_rate,channels,"
              "r_frame_rate,time_base,start_pts,duration_ts:stream_tags=language $out </dev/null | tr '\\n' ';'; "
              "echo; done"),
        0);
    EXPECT_EQ("\n" + m_said, R"(
hevc.mp4 hevc|Main|hvc1|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|unknown|30000/1001|1/30000|0|30030|und;aac|LC|mp4a|fltp|44100|2|0/0|1/44100|0|44144|und;2;
h264.mov h264|High|avc1|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|progressive|30000/1001|1/30000|0|30030;pcm_s16le|unknown|sowt|s16|44100|2|0/0|1/44100|0|44144;2;
mpeg4.mp4 mpeg4|Simple Profile|mp4v|130|98|1:1|yuv420p|unknown|unknown|unknown|unknown|unknown|30000/1001|1/30000|0|30030|und;mp3|unknown|mp4a|fltp|44100|2|0/0|1/44100|0|44144|und;2;
vp9.webm vp9|Profile 0|[0][0][0][0]|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|unknown|30000/1001|1/1000|7|N/A;opus|unknown|[0][0][0][0]|fltp|48000|2|0/0|1/1000|-7|N/A;2;
mjpeg.mkv mjpeg|Baseline|[0][0][0][0]|130|98|1:1|yuvj420p|pc|bt470bg|unknown|unknown|unknown|30000/1001|1/1000|0|N/A;vorbis|unknown|[0][0][0][0]|fltp|44100|2|0/0|1/1000|0|N/A;2;
prores.mov prores|Standard|apcn|130|98|1:1|yuv422p10le|tv|smpte170m|unknown|unknown|unknown|30000/1001|1/30000|0|30030;pcm_s16le|unknown|sowt|s16|44100|2|0/0|1/44100|0|44144;2;
h264.ts h264|High|[27][0][0][0]|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|progressive|30000/1001|1/90000|6006|90090;opus|unknown|Opus|fltp|48000|2|0/0|1/90000|5421|90000;;h264|High|[27][0][0][0]|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|progressive|30000/1001|1/90000|6006|90090;opus|unknown|Opus|fltp|48000|2|0/0|1/90000|5421|90000;2;
h264.avi h264|High|H264|130|98|1:1|yuv420p|tv|smpte170m|unknown|unknown|progressive|30000/1001|1001/30000|0|30;pcm_s16le|unknown|[1][0][0][0]|s16|44100|2|0/0|1/44100|0|N/A;2;
a.mka flac|unknown|[0][0][0][0]|s16|44100|2|0/0|1/1000|0|N/A;1;
p.ogg vp8|0|[0][0][0][0]|130|98|1:1|yuv420p|unknown|unknown|unknown|unknown|progressive|30000/1001|1001/30000|0|30;vorbis|unknown|[0][0][0][0]|fltp|44100|2|0/0|1/44100|0|44144;2;
g.gif gif|unknown|[0][0][0][0]|130|98|1:1|bgra|unknown|unknown|unknown|unknown|unknown|30000/1001|1/100|0|101;1;
g.apng apng|unknown|[0][0][0][0]|130|98|1:1|rgb24|pc|unknown|unknown|unknown|unknown|100000/3337|1/100000|N/A|N/A;1;
)");
}

TEST_F(HostInfoTest, ListAndHelpTellWhatThereIs)
{
    const auto json = RunJson("list --json");
    EXPECT_EQ(json["schemaVersion"], 1);
    const auto& formats = json["formats"];
    const auto mkv = std::find_if(formats.begin(), formats.end(), [](const auto& f) { return f["fourCC"] == "MKV"; });
    ASSERT_NE(mkv, formats.end());
    EXPECT_FALSE((*mkv)["video"][0]["description"].empty());
    EXPECT_FALSE((*mkv)["audio"].empty());

    for (const std::string command : {"encode", "convert", "list", "probe"}) {
        ASSERT_EQ(Run(command + " --help"), 0);
        const std::string help = m_said;
        ASSERT_EQ(Run("help " + command), 0);
        EXPECT_EQ(m_said, help);
        ASSERT_EQ(Run("help"), 0);
        EXPECT_TRUE(Said("\n  " + command + " ")) << m_said;
    }
    EXPECT_FALSE(Said("generate"));
    EXPECT_EQ(Run("help nosuch"), 2);
    EXPECT_TRUE(Said("no command is called \"nosuch\"; there are: list, encode")) << m_said;
}

// In lines that fit a terminal, the values below each other and what is said of them, too.
TEST_F(HostInfoTest, OptionsOfEncodersStandInColumns)
{
    const struct {
        const char* encoder;
        std::vector<const char*> lines;
    } cases[] = {
        {"mp4v",
         {"MP4V  MPEG-4  MPEG-4 Visual, .*", "In MP4, Matroska, .*",
          "Options, as in --vopt KEY=VALUE:", "  crf +2 to 31 +--crf, default: 3", "  b +integer from 0 +--vb",
          "  g +integer +--gop, default: 12", "  qmin +-1 to 69 +default: 2", "  mbd +0 to 2 +default: simple",
          " +\\[simple bits rd\\]", "  threads +integer from 0 +default: auto", "  flags +flags",
          "  data_partitioning +0 or 1 +default: 0", "  rc_init_cplx +number +default: 0", "  rc_eq +text"}},
        {"vp9",
         {"  preset +word +--preset", " +speed: veryslow is deadline=best:cpu-used=0, slower is",
          "  tune +integer from -1 +--tune", "  pass +1 to 2 +--passes", "  deadline +.* default: good",
          "  cpu-used +.* default: 5", "  row-mt +0 or 1 +default: 1"}},
        {"h264", {"  preset +word +--preset, default: medium", " +\\[film animation grain .*", "  stats +text"}},
        {"flac",
         {"Options, as in --aopt KEY=VALUE:", "  lpc_type +-1 to 3", "  lpc_coeff_precision +0 to 15 +default: 15"}},
    };
    for (const auto& [encoder, wanted] : cases) {
        ASSERT_EQ(Run(std::string("list ") + encoder), 0);
        std::istringstream text(m_said);
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        for (const char* line : wanted)
            EXPECT_TRUE(
                std::any_of(lines.begin(), lines.end(),
                            [line](const std::string& each) { return std::regex_match(each, std::regex(line)); }))
                << line << " in " << m_said;
        const size_t column = lines.at(4).find_first_not_of(' ', lines[4].find(' ', 2));
        size_t longest = 0;
        for (size_t i = 4; i < lines.size(); ++i) {
            longest = std::max(longest, lines[i].size());
            EXPECT_NE(lines[i].back(), ' ');
            const bool isOption = lines[i][2] != ' ' && lines[i][column - 1] == ' ' && lines[i][column] != ' ';
            EXPECT_TRUE(isOption || lines[i].find_first_not_of(' ') == column) << lines[i];
        }
        EXPECT_TRUE(longest > 85 && longest <= 100) << longest;
    }
}

TEST_F(HostInfoTest, EveryPresetMakesAFile)
{
    ASSERT_EQ(Run("generate presets"), 0);
    std::istringstream names(m_said);
    int count = 0;
    for (std::string name; names >> name; ++count) {
        const std::string ending = name == "archive" ? "mkv" : "mov";
        EXPECT_EQ(Run("encode testcard:seconds=1,size=160x90 --config " + name + " -o " + name + "." + ending), 0)
            << m_said;
    }
    EXPECT_GE(count, 4);
}

TEST_F(HostInfoTest, OptionsFromFilesGiveWayToWrittenOnes)
{
    const struct {
        const char* file;
        const char* written;
        int exitCode;
        const char* said;
    } cases[] = {
        {"frames = 5 # few\n; none\nsize=64x48", "", 0, "5 pictures"},
        {"\xEF\xBB\xBF[encode]\r\n\"frames\" = \"5\"\r\n", "", 0, "5 pictures"},
        {"overwrite\noutput = \"a # b,c d.mkv\"", "", 0, "a # b,c d.mkv: 10"},
        {"frames=5", "--frames 7", 0, "7 pictures"},
        {"frames=0", "--frames 7", 0, "7 pictures"}, // what gives way isn't looked at
        {"an", "", 0, "a.mkv: 10 pictures, 1.000 s, 4"},
        {"an", "--ac flac", 0, "audio 1.000 s"}, // which it would exclude
        {"vn=false", "--vc ffv1", 0, "10 pictures"},
        {"vn\nan", "", 2, "excludes"},
        {"sizze=64x48", "", 2, "c.conf: \"sizze\" is no option of encmgr encode"},
        {"[list]\njson", "", 2, "\"list.json\" is no option"},
        {"config=c.conf", "", 2, "\"config\" is no option"},
        {"=", "", 2, "\"\" is no option"},
        {"s=", "", 2, "c.conf: -s: \"\" isn't a size"},
        {"vb=1,5M", "", 2, "more than one value"},
        {"frames=5\nan\nframes=6", "", 2, "more than one value"},
        {"an=maybe", "", 2, "c.conf: an: \"maybe\" is neither true nor false"},
    };
    for (const auto& [file, written, exitCode, said] : cases) {
        std::ofstream(Path("c.conf")) << file;
        EXPECT_EQ(Run("encode testcard:seconds=1,rate=10,size=160x90 -y --config c.conf " + std::string(written) +
                      (std::string(file).find("output") == std::string::npos ? " -o a.mkv" : "")),
                  exitCode)
            << file << ": " << m_said;
        EXPECT_TRUE(Said(said)) << file << ": " << m_said;
    }
    const std::string job = "encode testcard:seconds=1 -o b.mkv --config ";
    for (const char* name : {"gone.conf", "./", "/dev/zero", "a.mkv"})
        EXPECT_EQ(Run(job + name), 2) << name;
    for (const auto& [bytes, code] : {std::pair{1 << 20, 0}, {(1 << 20) + 1, 2}}) {
        std::ofstream(Path("long.conf")) << std::string(static_cast<size_t>(bytes), '\n');
        EXPECT_EQ(Run("encode testcard:seconds=1,size=64x64 -y -o b.y4m --config long.conf"), code) << m_said;
    }
    ASSERT_EQ(Shell("mkdir -p conf/encmgr/presets && echo an >conf/encmgr/presets/mine.conf"), 0);
    EXPECT_EQ(Run(job + "mine"), 2);
    EXPECT_TRUE(Said("no preset is called \"mine\"; there are: archive, audio")) << m_said;
    EXPECT_EQ(Shell("XDG_CONFIG_HOME=$PWD/conf encmgr " + job + "mine"), 0) << m_said;
}
