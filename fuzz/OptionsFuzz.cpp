// What users write: values, names of sources, command lines, files with options. All is taken or refused by the one
// exception that main shows to them.
#include "fuzz/FuzzInput.h"
#include "host/base/ExitCode.h"
#include "host/base/Json.h"
#include "host/base/Suggestion.h"
#include "host/base/Text.h"
#include "host/base/Values.h"
#include "host/commands/CommandLine.h"
#include "host/job/OutputNames.h"
#include "host/sources/LiveName.h"
#include "host/sources/Metadata.h"
#include "host/sources/TestCard.h"
#include "plugins/support/OptionText.h"

#include <sys/mman.h>
#include <unistd.h>

namespace
{

using namespace host;

void CheckValues(const std::string& text)
{
    if (const auto size = ParseSize(text, 2, 100))
        Expect(size->width >= 2 && size->width <= 100 && size->height >= 2 && size->height <= 100, "ParseSize");
    if (const auto size = ParseSizeOrSide(text, 2, 100))
        Expect(std::max(size->width, size->height) >= 2 && std::max(size->width, size->height) <= 100 &&
                   std::min(size->width, size->height) >= kFreeEven,
               "ParseSizeOrSide");
    Expect(ParseTime(text).value_or(0) >= 0, "ParseTime");
    if (const auto rate = ParseRate(text))
        Expect(rate->den > 0 && av_q2d(*rate) >= kLowestRate * 0.999 && av_q2d(*rate) <= kHighestRate, "ParseRate");
    Expect(ParseBitRate(text).value_or(1000) >= 1000, "ParseBitRate");
    if (const auto aspect = ParseAspect(text))
        Expect(aspect->num >= 1 && aspect->num <= 1000 && aspect->den >= 1 && aspect->den <= 1000, "ParseAspect");
    Folded(text);
    IsSequence(text);
    SequenceOf(text);
    FirstOf(text);
    const std::vector<Known> known = {{"size", "size"}, {"seconds", "seconds"}};
    DidYouMean(text, known);
    MetadataText({{text, text}}, {{text, text}}, {{0, 1, {{text, text}}}});
    const auto options = ParseOptions(text.c_str());
    Expect(!options || !options->empty() || text.c_str()[0] == '\0', "ParseOptions");
}

// The words of a command line, a line each. Nothing is run.
void ParseLines(std::string text)
{
    std::vector<char*> words;
    static char program[] = "encmgr";
    words.push_back(program);
    for (size_t at = 0; at < text.size();) {
        words.push_back(text.data() + at);
        at = std::min(text.find('\n', at), text.size());
        if (at < text.size())
            text[at++] = '\0';
    }
    words.push_back(nullptr);
    ParseCommandLine(static_cast<int>(words.size()) - 1, words.data());
}

void ParsePreset(const std::string& text)
{
    const int file = memfd_create("preset", 0);
    Expect(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
    lseek(file, 0, SEEK_SET);
    try {
        ParseLines("encode\nin\n-o\nout\n--config\n/proc/self/fd/" + std::to_string(file));
    } catch (...) {
        close(file);
        throw;
    }
    close(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const bool isQuiet = std::freopen("/dev/null", "w", stdout) != nullptr; // help and lists
    FuzzInput input(data, size);
    const int way = input.Random(0, 5);
    const std::string text = input.Rest();
    try {
        if (way == 0)
            CheckValues(text);
        else if (way == 1)
            ParseLines(text);
        else if (way == 2)
            ParsePreset(text);
        else if (way == 3)
            Expect(ParseLiveName(text).IsDevice() || isQuiet, "ParseLiveName");
        else if (way == 4)
            ParseTestCard("testcard:" + text);
        else
            JsonText(ParseJson(text, "report"));
    } catch (const HostError& error) {
        Expect(*error.what() && (error.Code() == kExitUsage || error.Code() == kExitInput), "a refusal");
    }
    return 0;
}
