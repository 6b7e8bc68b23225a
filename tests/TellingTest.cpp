// Whole texts for people and programs: what is said of an input, man pages, and what shells offer.
#include "host/base/Messages.h"
#include "host/commands/Generate.h"
#include "host/commands/Probe.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

namespace
{

using namespace host;

// ---- probe ----

InputFacts SomeFacts()
{
    InputFacts facts;
    facts.name = "a.mkv";
    facts.format = "matroska";
    facts.duration = 3723'456'500'000;
    facts.isDurationStated = false;
    facts.start = -500'000'000;
    facts.size = 1234567;
    facts.bitRate = 2653;
    facts.tags = {{"major_brand", "isom"}, {"title", "a\x1B[1m\xC2\x9Bz\x7F\xC3\xA9\xC2"}};
    facts.chapters = {{0, 999'600'000, "One\nTwo"}};
    StreamFacts& video = facts.streams.emplace_back();
    video.kind = "video";
    video.codec = "h264";
    video.profile = "High";
    video.bitRate = 1499'600;
    video.isDecodable = video.isForced = true;
    video.language = "eng";
    video.title = "T";
    VideoFacts& pictures = video.video.emplace();
    pictures.stored = {720, 576, {24000, 1001}, {64, 45}, {9, 9, 16}, Fields::kBottomFirst};
    pictures.turn.isSideways = pictures.turn.isMirrored = true;
    pictures.turn.clockwise = 90;
    pictures.rateKind = RateKind::kVariable;
    pictures.statedRate = {25, 1};
    pictures.pixels = "yuv420p10le";
    pictures.bits = 10;
    pictures.matrix = "bt2020nc";
    pictures.primaries = "bt2020";
    pictures.transfer = "smpte2084";
    StreamFacts& audio = facts.streams.emplace_back();
    audio.index = 10;
    audio.kind = "audio";
    audio.codec = "x";
    audio.isUsed = audio.isDefault = true;
    audio.audio = AudioFacts{48000, 6, "5.1", "s16"};
    StreamFacts& cover = facts.streams.emplace_back();
    cover.index = 11;
    cover.kind = "cover";
    cover.codec = "png";
    cover.video.emplace().stored = {30, 20, {25, 1}, {1, 1}};
    return facts;
}

TEST(Probe, TellsAllThatIsKnown)
{
    EXPECT_EQ(
        ProbeText(SomeFacts()),
        R"(a.mkv: matroska, about 1:02:03.457, starting at -0:00.500, 1.2 MB
  title: a [1m z é)"
        "\xC2\n"
        R"(  0  video       h264 (High), 720x576, variable rate, taken for 23.976 fps (24000/1001), 1500 kbit/s, eng, "T", forced, left out by encode
                 shown mirrored and turned right by 90 degrees as 576x720, pixels 64:45, interlaced, bottom field first
                 yuv420p10le, 10 bits, limited range, matrix bt2020nc (assumed), primaries bt2020, transfer smpte2084, high dynamic range (PQ)
  10 audio       x, 48000 Hz, 6 channels, 5.1, s16, can't be decoded
  11 cover       png, 30x20
  chapter 0:00.000 - 0:01.000  One Two
)");
    InputFacts clean = SomeFacts();
    clean.tags.pop_back();
    EXPECT_EQ(
        JsonLine(ProbeJson(clean)),
        R"({"schema":"encmgr.probe","schemaVersion":1,"input":"a.mkv","format":"matroska","formatName":null,)"
        R"("duration":3723.4565,"isDurationStated":false,"start":-0.5,"size":1234567,"bitRate":2653,)"
        R"("tags":{"major_brand":"isom"},"streams":[{"index":0,"kind":"video",)"
        R"("codec":"h264","profile":"High","bitRate":1499600,"isUsed":false,"isDecodable":true,"isDefault":false,)"
        R"("isForced":true,"language":"eng","title":"T","video":{"width":720,"height":576,"pixelAspect":"64:45",)"
        R"("shown":{"width":576,"height":720,"pixelAspect":"45:64","displayAspect":"9:16"},"rotation":90.0,)"
        R"("isMirrored":true,"pixelFormat":"yuv420p10le","bits":10,"colour":{"range":"limited",)"
        R"("matrix":"bt2020nc","isMatrixStated":false,"primaries":"bt2020","transfer":"smpte2084",)"
        R"("highDynamicRange":"PQ"},"fields":"bottomFirst","frameRate":"24000/1001",)"
        R"("framesPerSecond":23.976023976023978,"rateKind":"variable","statedFrameRate":"25/1"}},{"index":10,)"
        R"("kind":"audio","codec":"x","profile":null,"bitRate":null,"isUsed":true,"isDecodable":false,)"
        R"("isDefault":true,"isForced":false,"language":null,"title":null,"audio":{"sampleRate":48000,)"
        R"("channels":6,"layout":"5.1","sampleFormat":"s16"}},{"index":11,"kind":"cover","codec":"png",)"
        R"("profile":null,"bitRate":null,"isUsed":false,"isDecodable":false,"isDefault":false,"isForced":false,)"
        R"("language":null,"title":null,"picture":{"width":30,"height":20}}],"chapters":[{"start":0.0,)"
        R"("end":0.9996,"title":"One\nTwo"}]})");
    Messages messages;
    EXPECT_EQ(JsonLine(ProbeJson(FactsOf("testcard:seconds=2,size=720x576,aspect=4:3,audio=44100x1", messages))),
              R"({"schema":"encmgr.probe","schemaVersion":1,"input":"testcard:seconds=2,size=720x576,aspect=4:3,)"
              R"(audio=44100x1","format":"testcard","formatName":"Generated test card","duration":2.0,)"
              R"("isDurationStated":true,"start":0.0,"size":null,"bitRate":null,"tags":{},"streams":[{"index":0,)"
              R"("kind":"video","codec":"rawvideo","profile":null,"bitRate":null,"isUsed":true,"isDecodable":true,)"
              R"("isDefault":true,"isForced":false,"language":null,"title":null,"video":{"width":720,"height":576,)"
              R"("pixelAspect":"16:15","shown":{"width":720,"height":576,"pixelAspect":"16:15","displayAspect":"4:3"},)"
              R"("rotation":0.0,"isMirrored":false,"pixelFormat":"yuv420p","bits":8,"colour":{"range":"limited",)"
              R"("matrix":"smpte170m","isMatrixStated":true,"primaries":null,"transfer":null,"highDynamicRange":null},)"
              R"("fields":null,"frameRate":"25/1","framesPerSecond":25.0,"rateKind":"steady",)"
              R"("statedFrameRate":"25/1"}},{"index":1,"kind":"audio","codec":"pcm_s16le","profile":null,)"
              R"("bitRate":null,"isUsed":true,"isDecodable":true,"isDefault":true,"isForced":false,"language":null,)"
              R"("title":null,"audio":{"sampleRate":44100,"channels":1,"layout":"mono","sampleFormat":"s16"}}],)"
              R"("chapters":[]})");
    EXPECT_EQ(ProbeText({.name = "x", .format = "f"}), "x: f, of unknown length\n  no streams\n");
}

// A change of the facts above, and what shows it in the text and in the JSON.
TEST(Probe, HasAWordForEachKind)
{
    const struct {
        std::function<void(VideoFacts&)> change;
        const char *text, *json;
    } cases[] = {
        {[](auto& v) { v.rateKind = RateKind::kStated; }, "23.976 fps (24000/1001) as stated,",
         R"("rateKind":"stated")"},
        {[](auto& v) { v.rateKind = RateKind::kStated, v.statedRate.num = 0; }, "no rate stated, taken for 23.976 fps",
         R"("statedFrameRate":null)"},
        {[](auto& v) { v.rateKind = RateKind::kSteady; }, "(24000/1001), steady,", R"("rateKind":"steady")"},
        {[](auto& v) { v.rateKind = RateKind::kWavering; }, "(24000/1001), wavering,", R"("rateKind":"wavering")"},
        {[](auto& v) {
             v.stored.frameRate = {25, 1};
         },
         "taken for 25 fps,", R"("framesPerSecond":25.0)"},
        {[](auto& v) { v.turn = {}; }, "  pixels 64:45, interlaced", R"("rotation":0)"},
        {[](auto& v) { v.turn = {.clockwise = 270}; }, "shown turned left by 90 degrees as", R"("rotation":270)"},
        {[](auto& v) { v.turn = {.clockwise = 180}; }, "shown upside down as 720x576", R"("isMirrored":false)"},
        {[](auto& v) { v.turn = {.oddAngle = 30}; }, "to be turned left by 30 degrees, which", R"("rotation":330)"},
        {[](auto& v) { v.turn = {.oddAngle = -1}; }, "to be turned right by 1 degrees", R"("rotation":1.0)"},
        {[](auto& v) { v.stored.fields = Fields::kTopFirst; }, "interlaced, top field first", R"("fields":"topFirst")"},
        {[](auto& v) { v.stored.fields = Fields::kNone; }, ", progressive\n", R"("fields":"progressive")"},
        {[](auto& v) {
             v.stored.pixelAspect = {1, 1};
         },
         "square pixels, interl", R"("displayAspect":"4:5")"},
        {[](auto& v) { v.isFullRange = v.isMatrixStated = true; }, "full range, matrix bt2020nc, ",
         R"("range":"full")"},
        {[](auto& v) { v.stored.colour.transfer = 1; }, "transfer smpte2084\n", R"("highDynamicRange":null)"},
    };
    for (const auto& [change, text, json] : cases) {
        InputFacts facts = SomeFacts();
        change(*facts.streams[0].video);
        EXPECT_NE(ProbeText(facts).find(text), std::string::npos) << text << " in " << ProbeText(facts);
        EXPECT_NE(JsonLine(ProbeJson(facts)).find(json), std::string::npos) << json << " in " << ProbeJson(facts);
    }
    InputFacts facts = SomeFacts();
    for (const auto& [audio, text] : {std::pair{AudioFacts{8000, 2, "stereo", "s16"}, " 8000 Hz, stereo, s16,"},
                                      {AudioFacts{8000, 2, "", ""}, " 8000 Hz, 2 channels, can't"},
                                      {AudioFacts{8000, 3, "2.1", ""}, " 8000 Hz, 3 channels, 2.1, can't"}}) {
        facts.streams[1].audio = audio;
        EXPECT_NE(ProbeText(facts).find(text), std::string::npos) << text << " in " << ProbeText(facts);
    }
}

// ---- generate ----

ProgramEntry SomeProgram()
{
    CLI::App app("It does things.", "encmgr");
    std::string text;
    app.add_flag_callback(
           "-q,--quiet", [] {}, "Say - little")
        ->group("Common");
    CLI::App* const encode = app.add_subcommand("encode", "Make: a file");
    encode->footer("Prose of a footer\nin two lines.\n  word   what it means\n\nMore.\nExit codes:\n  0  good\n");
    encode->add_option("INPUT", text, "What is read [x]")->required();
    encode->add_option("-o,--output", text, "What is 'written'")->type_name("OUTPUT")->required();
    SetCompletion(*encode->add_option("--fit", text, "How")->type_name("WORD")->group("More"),
                  {Completion::Kind::kWords, {"16:9", "crop"}});
    SetCompletion(*encode->add_option("-f", text, "Format")->type_name("FORMAT"),
                  {Completion::Kind::kListed, {"formats"}});
    SetCompletion(*encode->add_option("--config", text, "Preset")->type_name("NAME"),
                  {Completion::Kind::kListedOrFile, {"presets"}});
    encode->add_option("--in", text, "Folder")->type_name("DIR");
    encode
        ->add_option("--rate", text,
                     ".5 or more, explained at such a length that one line of the page has no room for all")
        ->type_name("RATE");
    CLI::App* const list = app.add_subcommand("list", "Lists");
    list->add_option("WHAT", text, "x");
    app.add_subcommand("hidden", "Hidden")->group("");
    return TableOf(app);
}

TEST(Generate, ManPagesTellWhatTheTableHolds)
{
    setenv("SOURCE_DATE_EPOCH", "86400", 1);
    const ProgramEntry program = SomeProgram();
    const std::string whole = ManPage(program, nullptr, "1.2");
    for (const char* part :
         {".TH ENCMGR 1 1970-01-02 ", "\nencmgr \\- turns media files", "] \\fICOMMAND\\fP ...\n.SH DESC",
          "things.\n.SH COMMANDS\n.TP\n\\fBencode\\fP\nMake: a file; see\n.BR encmgr\\-encode (1).\n",
          "(1).\n.SH OPTIONS\n.SS Options\n", "\n.SS Common\n.TP\n\\fB\\-q\\fP, \\fB\\-\\-quiet\\fP\nSay \\- little.\n",
          ".SH SEE ALSO\n\\fBencmgr\\-encode\\fP(1),\n\\fBencmgr\\-list\\fP(1)\n"})
        EXPECT_NE(whole.find(part), std::string::npos) << part << "in\n" << whole;
    EXPECT_EQ(ManPage(program, &program.commands[0], "1.2"),
              R"(.TH ENCMGR\-ENCODE 1 1970-01-02 "encmgr 1.2" "User Commands"
.SH NAME
encmgr\-encode \- Make: a file
.SH SYNOPSIS
\fBencmgr\fP \fBencode\fP [\fIOPTIONS\fP] \fB\-o\fP \fIOUTPUT\fP \fIINPUT\fP
.SH DESCRIPTION
Make: a file.
.TP
\fBINPUT\fP
What is read [x]. Required.
.PP
The options of
.BR encmgr (1)
may stand here as well.
.SH OPTIONS
.SS Options
.TP
\fB\-o\fP, \fB\-\-output\fP \fIOUTPUT\fP
What is 'written'. Required.
.TP
\fB\-f\fP \fIFORMAT\fP
Format.
.TP
\fB\-\-config\fP \fINAME\fP
Preset.
.TP
\fB\-\-in\fP \fIDIR\fP
Folder.
.TP
\fB\-\-rate\fP \fIRATE\fP
\&.5 or more, explained at such a length that one line of the page has no room
for all.
.SS More
.TP
\fB\-\-fit\fP \fIWORD\fP
How.
.SH NOTES
Prose of a footer in two lines.
.TP
\fBword\fP
what it means
.PP
More.
.SH EXIT STATUS
.TP
\fB0\fP
good
.SH SEE ALSO
\fBencmgr\fP(1),
\fBencmgr\-list\fP(1)
)");
    unsetenv("SOURCE_DATE_EPOCH");
}

// Beside what is the same for every table.
TEST(Generate, ShellsLearnOfEachOption)
{
    const ProgramEntry program = SomeProgram();
    const std::string bash = BashCompletion(program), zsh = ZshCompletion(program);
    for (const char* part : {"            encode | list) command=", R"(    case "$command $previous" in
        encode" -o" | encode" --output") kind=file ;;
        encode" --fit") kind=words words='16:9 crop' ;;
        encode" -f") kind=listed words=formats ;;
        encode" --config") kind=listedfile words=presets ;;
        encode" --in") kind=folder ;;
        encode" --rate") kind=none ;;
    esac

    case $command in
        encode) options=' -o --output --fit -f --config --in --rate' ;;
        list) options='' ;;
    esac
    options+=' -h --help -q --quiet'
)",
                             R"(            '') kind=words words='encode list' ;;
            encode) kind=file ;;
            list) kind=file ;;
        esac
)"})
        EXPECT_NE(bash.find(part), std::string::npos) << part << "in\n" << bash;
    for (const char* part : {R"zsh(    _arguments -C \
        '(-h --help)'{-h,--help}'[Print this help message and exit]' \
        '(-q --quiet)'{-q,--quiet}'[Say - little]' \
        '1: :->command' \
        '*:: :->rest'

    case $state in
        command)
            commands=(
                'encode:Make\: a file'
                'list:Lists'
            )
            _describe command commands
            ;;
        rest) _encmgr_$line[1] ;;
    esac
}

_encmgr_encode()
{
    _arguments \
        '(-o --output)'{-o+,--output=}'[What is '\''written'\'']:OUTPUT:_files' \
        '(--fit)'--fit='[How]:WORD:(16\:9 crop)' \
        '(-f)'-f+'[Format]:FORMAT:_encmgr_listed formats' \
        '(--config)'--config='[Preset]:NAME:{_encmgr_listed presets; _files}' \
        '(--in)'--in='[Folder]:DIR:_files -/' \
        '(--rate)'--rate='[.5 or more, explained at such a length that one line of the page has no room for all]:RATE: ' \
        '(-h --help)'{-h,--help}'[Print this help message and exit]' \
        '(-q --quiet)'{-q,--quiet}'[Say - little]' \
        ':INPUT:_files'
}

_encmgr_list()
{
    _arguments \
        '(-h --help)'{-h,--help}'[Print this help message and exit]' \
        '(-q --quiet)'{-q,--quiet}'[Say - little]' \
        ':WHAT:_files'
}
)zsh"})
        EXPECT_NE(zsh.find(part), std::string::npos) << part << "in\n" << zsh;
    EXPECT_EQ(FishCompletion(program).substr(63), R"fish(.

complete -c encmgr -f
complete -c encmgr -s h -l help -d 'Print this help message and exit'
complete -c encmgr -s q -l quiet -d 'Say - little'
complete -c encmgr -n __fish_use_subcommand -a encode -d 'Make: a file'
complete -c encmgr -n __fish_use_subcommand -a list -d 'Lists'

complete -c encmgr -n '__fish_seen_subcommand_from encode' -s o -l output -r -F -d 'What is \'written\''
complete -c encmgr -n '__fish_seen_subcommand_from encode' -l fit -r -x -a '16:9 crop' -d 'How'
complete -c encmgr -n '__fish_seen_subcommand_from encode' -s f -r -x -a '(encmgr generate formats 2>/dev/null)' -d 'Format'
complete -c encmgr -n '__fish_seen_subcommand_from encode' -l config -r -F -a '(encmgr generate presets 2>/dev/null)' -d 'Preset'
complete -c encmgr -n '__fish_seen_subcommand_from encode' -l in -r -x -a '(__fish_complete_directories)' -d 'Folder'
complete -c encmgr -n '__fish_seen_subcommand_from encode' -l rate -r -x -d '.5 or more, explained at such a length that one line of the page has no room for all'
complete -c encmgr -n '__fish_seen_subcommand_from encode' -F

complete -c encmgr -n '__fish_seen_subcommand_from list' -F
)fish");
}

} // namespace
