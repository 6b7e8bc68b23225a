// The benchmarks: the library's works against those of its peers, in rounds that alternate.
#include "bench/Table.h"
#include "bench/Works.h"

#include "Common/InstructionSet.h"
#include "Common/StandardStreams.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

namespace
{

constexpr const char* kSetNames[kInstructionSets] = {"plain", "sse41", "avx2", "avx512"};

constexpr char kUsage[] =
    "usage: encmgr-bench [--set=plain|sse41|avx2|avx512] [--filter=REGEX] [--json=FILE] [--list]\n"
    "  --set      limits the library, not its peers, to an instruction set\n"
    "  --filter   runs the works whose names match; -REGEX those whose names don't\n"
    "  --json     writes the results to a file\n"
    "  --list     names the works\n"
    "Google Benchmark's own options work too.\n";

// The value of an option, or null.
const char* ValueOf(const char* argument, const char* option)
{
    const size_t length = std::strlen(option);
    return std::strncmp(argument, option, length) == 0 ? argument + length : nullptr;
}

bool UseSet(const std::string& name)
{
    for (int set = 0; set < kInstructionSets; ++set)
        if (name == kSetNames[set]) {
            UseInstructionSet(static_cast<InstructionSet>(set));
            return true;
        }
    return false;
}

// Puts our short options into Google Benchmark's words. False: the command line is wrong.
bool Translate(int argc, char** argv, std::vector<std::string>& arguments)
{
    for (int i = 0; i < argc; ++i) {
        if (const char* set = ValueOf(argv[i], "--set=")) {
            if (!UseSet(set))
                return false;
        } else if (const char* filter = ValueOf(argv[i], "--filter=")) {
            arguments.push_back(std::string("--benchmark_filter=") + filter);
        } else if (const char* file = ValueOf(argv[i], "--json=")) {
            arguments.push_back(std::string("--benchmark_out=") + file);
        } else if (std::strcmp(argv[i], "--list") == 0) {
            arguments.emplace_back("--benchmark_list_tests=true");
        } else {
            arguments.emplace_back(argv[i]);
        }
    }
    return true;
}

int Run(int argc, char** argv)
{
    std::vector<std::string> arguments;
    bool isRight = Translate(argc, argv, arguments);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    int count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    benchmark::Initialize(&count, pointers.data(), [] { std::fputs(kUsage, stdout); });
    isRight = isRight && !benchmark::ReportUnrecognizedArguments(count, pointers.data());
    if (!isRight) {
        std::fputs(kUsage, stderr);
        return 2;
    }

    benchmark::AddCustomContext("set", kSetNames[static_cast<int>(ActiveInstructionSet())]);
    RegisterScaling();
    RegisterColour();
    RegisterOverlays();
    RegisterAudio();
    RegisterJobs();
    RegisterSizes();
    Table table;
    const size_t run = benchmark::RunSpecifiedBenchmarks(&table);
    benchmark::Shutdown();
    return run > 0 && table.Failures() == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    OpenStandardStreams();
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "encmgr-bench: %s\n", error.what());
        return 1;
    }
}
