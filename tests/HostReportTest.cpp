// Reports of encmgr encode, and the pages that encmgr view makes of them.
#include "tests/HostRun.h"

#include <fstream>
#include <nlohmann/json.hpp>

namespace
{

using Json = nlohmann::json;

class HostReportTest : public HostTest
{
protected:
    std::string Text(const std::string& name) const
    {
        std::ifstream file(Path(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }
    Json Report(const std::string& name = "r.json") const { return Json::parse(Text(name), nullptr, false); }

    static size_t Count(const std::string& text, const std::string& part)
    {
        size_t count = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }
};

} // namespace

TEST_F(HostReportTest, TellsAnotherRunThatTheWorkIsDone)
{
    ASSERT_EQ(Shell("encmgr -q encode testcard:seconds=1,size=320x240 -o a.mkv --vc ffv1 && cp a.mkv b.mkv"), 0)
        << m_said;
    const auto isDone = [this](const std::string& arguments) {
        EXPECT_EQ(Run("encode " + arguments + " --vc ffv1 -y --report r.json --skip-done"), 0) << m_said;
        return Said("is there already, says r.json");
    };
    EXPECT_FALSE(isDone("a.mkv -o o.mkv"));
    EXPECT_TRUE(isDone("a.mkv -o o.mkv"));
    for (const std::string what : {
             "touch a.mkv", // the input
             "touch o.mkv", // or the output is another file
             "rm o.mkv",
             "echo >> o.mkv", //
             "echo [] > r.json",
             "echo {} > r.json", // not the report of it
             "sed -i 's/\"code\":0/\"code\":3/' r.json",
             "sed -i 's/encmgr 0/encmgr 9/' r.json",
             "sed -i 's/\"schema\": 1/\"schema\": 2/' r.json",
         }) {
        ASSERT_EQ(Shell(what), 0) << m_said;
        EXPECT_FALSE(isDone("a.mkv -o o.mkv")) << what;
        EXPECT_TRUE(isDone("a.mkv -o o.mkv")) << what;
    }
    EXPECT_FALSE(isDone("a.mkv -o o.mkv --frames 20")); // other options
    EXPECT_FALSE(isDone("a.mkv -o o.mkv"));
    EXPECT_FALSE(isDone("a.mkv -o p.mkv")); // another output
    EXPECT_FALSE(isDone("b.mkv -o p.mkv")); // or input
    EXPECT_FALSE(isDone("b.mkv -a a.mkv -o p.mkv"));
    EXPECT_TRUE(isDone("b.mkv -a a.mkv -o p.mkv"));
    EXPECT_FALSE(isDone("testcard:seconds=1 -o t.mkv"));
    EXPECT_TRUE(isDone("testcard:seconds=1 -o t.mkv"));
    EXPECT_TRUE(isDone("testcard:seconds=1 -o t.mkv --dry-run"));
    EXPECT_EQ(Run("encode a.mkv -o n.mkv --vc ffv1 --expect-frames 26"), 11);
    EXPECT_TRUE(Said("25 pictures, and 26 are expected") && !std::filesystem::exists(Path("n.mkv"))) << m_said;
    EXPECT_EQ(Run("encode a.mkv -o n.wav --expect-frames 26"), 2) << m_said;
}

TEST_F(HostReportTest, TellsWhatWasDone)
{
    ASSERT_EQ(
        Shell("ffmpeg -v error -f lavfi -i testsrc2=s=160x90:r=25:d=4 -f lavfi -i sine=440:r=44100:d=4 "
              "-vf \"select='not(between(t,1,1.5))'\" -fps_mode passthrough -af \"aselect='not(between(t,2,2.6))'\" "
              "-c:v mpeg4 -c:a pcm_s16le a.mkv </dev/null"),
        0)
        << m_said;
    // With the library's own resampler each block comes out of the converter.
    for (const char* resampler : {"filter", "library"}) {
        ASSERT_EQ(
            Run("encode a.mkv -o b.mkv -y -r 20 --ar 48000 --report r.json --resampler " + std::string(resampler)), 0)
            << m_said;
        const Json report = Report();
        EXPECT_EQ(report["schema"], 1);
        const Json& video = report["video"];
        EXPECT_EQ(video["written"], 80);
        EXPECT_GE(video["repeated"], 8);
        EXPECT_EQ(video["largest_run_repeated"], video["repeated"]);
        EXPECT_EQ(video["largest_run_dropped"], 1);
        EXPECT_EQ(video["pictures_in"].get<int>(), 80 - video["repeated"].get<int>() + video["dropped"].get<int>());
        const Json& audio = report["audio"];
        EXPECT_NEAR(audio["filled_seconds"], 0.6, 0.05);
        EXPECT_NEAR(audio["samples_out"], 4 * 48000, 100);
        EXPECT_GE(audio["gaps"], 1);
        EXPECT_EQ(report["output"]["bytes"], std::filesystem::file_size(Path("b.mkv")));
        EXPECT_EQ(report["output"]["path"], Path("b.mkv"));
        EXPECT_EQ(report["exit"]["code"], 0);
        EXPECT_GT(report["resources"]["peak_memory_bytes"], 1'000'000);
        size_t bytes = report["timeline"]["bytes_at_close"];
        for (const Json& part : report["timeline"]["bytes"])
            bytes += part.get<size_t>();
        EXPECT_EQ(bytes, report["output"]["bytes"]);
    }
}

TEST_F(HostReportTest, StandsInEveryEnding)
{
    const std::string card = "encode testcard:size=160x90,seconds=1 ";
    ASSERT_EQ(Shell("mkdir folder && echo text >text.mp4 && echo x >there.mkv"), 0);
    const struct {
        std::string arguments;
        int code;
    } cases[] = {
        {card + "-o a.mkv", 0},
        {card + "-o a.mkv --vc nonsense -y", 2},
        {"encode none.mp4 -o b.mkv", 3},
        {"encode text.mp4 -o b.mkv", 3},
        {card + "-o there.mkv", 4},
        {card + "-f MKV -o folder", 4},
        {"--plugins folder " + card + "-o b.mkv", 5},
    };
    for (const auto& [arguments, code] : cases) {
        std::filesystem::remove(Path("r.json"));
        EXPECT_EQ(Run(arguments + " --report r.json"), code) << m_said;
        const Json report = Report();
        ASSERT_TRUE(report.is_object()) << arguments;
        EXPECT_EQ(report["exit"]["code"], code) << arguments;
        EXPECT_EQ(report["messages"].front()["kind"], code ? "error" : "note") << report["messages"];
        for (const Json& message : report["messages"])
            EXPECT_TRUE(Said(message["text"])) << m_said;
        EXPECT_EQ(report["output"]["bytes"].is_null(), code != 0) << arguments;
    }
    EXPECT_EQ(Shell(ENCMGR_PROGRAM " encode testcard:seconds=90000,size=160x90 -o b.mkv --report r.json </dev/null & " +
                    UntilWritten("b", 20000) + "; kill $!; wait $!"),
              143)
        << m_said;
    EXPECT_EQ(Report()["exit"], Json({{"code", 143}, {"signal", 15}}));
    EXPECT_GT(Report()["video"]["written"], 0);

    // Where it can't be written, nothing begins; and it takes no file of the job's.
    for (const char* report : {"folder", "none/r.json", "c.mkv", "./c.mkv"})
        EXPECT_NE(Run(card + "-o c.mkv --report " + report), 0) << report;
    EXPECT_EQ(Run("encode text.mp4 -o c.mkv --report text.mp4"), 2);
    EXPECT_EQ(Text("text.mp4"), "text\n");
    EXPECT_EQ(Run(card + "-f MKV -o - --report -"), 2) << m_said;
    EXPECT_FALSE(std::filesystem::exists(Path("c.mkv")));
    EXPECT_EQ(Run(card + "-o c.mkv -q --report -"), 0);
    EXPECT_EQ(Json::parse(m_said, nullptr, false)["exit"]["code"], 0) << m_said;
}

TEST_F(HostReportTest, ADryRunLeavesNothingButItsPlan)
{
    ASSERT_EQ(Run("encode testcard:seconds=1,size=160x90 -o a.mp4 -s 321x201 --ar 11111 --dry-run --report r.json",
                  "TMPDIR=$PWD"),
              0)
        << m_said;
    for (const char* line : {"video: 160x90, pixels 1:1, 25/1 fps -> 321x201", "file format: MP4\n",
                             "video encoder: H.264 (H264)\n", "goes to 320x180 at 0,10 of 320x200 (keep, bilinear)",
                             "changed: video is written with 320x200 pixels rather than 321x201 pixels",
                             "changed: audio is written with 11025 Hz rather than 11111 Hz"})
        EXPECT_TRUE(Said(line)) << line << "\n" << m_said;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1);
    const Json report = Report();
    EXPECT_EQ(report["dry_run"], true);
    EXPECT_EQ(report["plan"]["video"]["target"]["rectangle"],
              Json({{"x", 0}, {"y", 10}, {"width", 320}, {"height", 180}}));
    EXPECT_EQ(report["plan"]["changed"].size(), 2u);
    EXPECT_EQ(report["video"], nullptr);
    EXPECT_EQ(Run("encode testcard: -o a.avi --ac nonsense --dry-run"), 2);
}

TEST_F(HostReportTest, ProgressIsShownAsAskedFor)
{
    const std::string job = "encode testcard:size=320x180,seconds=40 -o a.y4m --an -y -q --progress ";
    ASSERT_EQ(Run(job + "json"), 0) << m_said;
    std::istringstream lines(m_said);
    Json last;
    for (std::string line; std::getline(lines, line);) {
        last = Json::parse(line, nullptr, false);
        ASSERT_TRUE(last.is_object()) << line;
    }
    EXPECT_EQ(last["event"], "end");
    EXPECT_EQ(last["pictures"], 1000);
    EXPECT_EQ(last["bytes"], std::filesystem::file_size(Path("a.y4m")));
    for (const char* kind : {"none", "auto"}) {
        ASSERT_EQ(Run(job + kind), 0);
        EXPECT_EQ(m_said, "") << kind;
    }
    ASSERT_EQ(Run("encode testcard:size=640x360,seconds=60 -o a.y4m --an -y -q --progress bar"), 0); // long enough
    EXPECT_TRUE(Said("% ") && Said("\r")) << m_said;
}

TEST_F(HostReportTest, APageHoldsAllThatItShows)
{
    const std::string name = "<script><b>.mkv";
    ASSERT_EQ(Run("encode testcard:size=160x90,seconds=2 -o '" + name + "' --report r.json"), 0) << m_said;
    ASSERT_EQ(Run("encode 'none</script>' -o b.mkv --report bad.json"), 3);
    ASSERT_EQ(Run("view r.json bad.json"), 0) << m_said;
    const std::string page = Text("r.html");
    EXPECT_EQ(Count(page, "data:image/png;base64,"), 16u);
    EXPECT_EQ(Count(page, "{{DATA}}"), 0u);
    EXPECT_EQ(Count(page, "</script>"), 2u) << "the page's own";
    EXPECT_EQ(Count(page, "http"), Count(page, "http-equiv") + Count(page, "http://www.w3.org/2000/svg"));
    const size_t from = page.find("id=\"data\">") + 10;
    const Json data = Json::parse(page.substr(from, page.find("</script>", from) - from), nullptr, false);
    ASSERT_EQ(data.size(), 2u);
    EXPECT_EQ(data[0]["report"], Report());
    size_t bytes = 0;
    for (const Json& part : data[0]["video_bytes"])
        bytes += part.get<size_t>();
    EXPECT_GT(bytes, std::filesystem::file_size(Path(name)) / 4);

    EXPECT_EQ(Run("view r.json"), 4) << "it exists";
    ASSERT_EQ(Run("view r.json -y --no-pictures"), 0) << m_said;
    EXPECT_EQ(Count(Text("r.html"), "data:image/png"), 0u);
    ASSERT_EQ(Shell("mkdir away && mv r.json *script* away"), 0) << m_said;
    ASSERT_EQ(Run("view away/r.json"), 0) << m_said;
    EXPECT_EQ(Count(Text("away/r.html"), "data:image/png"), 16u) << "the output lies beside its report";
    ASSERT_EQ(Shell("encmgr view - <away/r.json >piped.html"), 0) << m_said;
    EXPECT_EQ(Count(Text("piped.html"), "data:image/png"), 8u) << "the card's";

    const struct {
        const char* text;
        const char* says;
    } cases[] = {
        {"", "isn't JSON"},
        {"[1]", "isn't a report"},
        {"{\"schema\":2,\"exit\":{}}", "schema 2"},
        {R"({"schema":1,"exit":{}})", "isn't a report as"},
        {"{\"schema\":1,\"exit\":{},\"position_seconds\":1e300,\"output\":{\"name\":3}}", "isn't a report as"},
    };
    for (const auto& [text, says] : cases) {
        std::ofstream(Path("x.json")) << text;
        EXPECT_EQ(Run("view x.json -y"), 3) << text;
        EXPECT_TRUE(Said(says)) << m_said;
    }
}
