#include "host/commands/QualityArguments.h"

#include "host/commands/Arguments.h"

namespace host
{

namespace
{

// "key=value" any number of times.
CLI::Option* AddPairs(CLI::App& command, const std::string& name, std::vector<std::string>& pairs,
                      const std::string& help)
{
    const auto refuse = [](const std::string& text) {
        const size_t equals = text.find('=');
        return equals == 0 || equals == std::string::npos ? "\"" + text + "\" isn't of the form key=value" : "";
    };
    return command.add_option(name, pairs, help)
        ->check(refuse)
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

} // namespace

void AddQualityArguments(CLI::App& command, EncodeOptions& options)
{
    const char* const group = "Quality, as far as the encoder has it: encmgr list NAME shows its options";
    CLI::Option* const bitRate = command.get_option("--vb");
    const auto number = [](const std::string& text) { return ParseNumber(text); };
    CLI::Option* const quality =
        AddValue(command, "--crf", options.quality, number, "a number", "Constant quality; less is better")
            ->type_name("N")
            ->group(group)
            ->excludes(bitRate);
    const auto word = [](const std::string& text) { return text.empty() ? std::nullopt : std::optional(text); };
    AddValue(command, "--preset", options.preset, word, "a word",
             "Speed: slow is smaller at the same quality, fast is sooner done")
        ->type_name("WORD")
        ->group(group);
    AddValue(command, "--tune", options.tune, word, "a word", "What the pictures are: film, animation and so on")
        ->type_name("WORD")
        ->group(group);
    AddInteger(command, "--gop", options.keyDistance, {1, 100'000}, "a count from 1 to 100000",
               "Pictures from one that stands by itself to the next, at most")
        ->type_name("N")
        ->group(group);
    AddInteger(command, "--passes", options.passes, {1, 2}, "1 or 2",
               "2: read the input twice, to meet the bit rate of --vb better (default: 1)")
        ->type_name("N")
        ->group(group)
        ->needs(bitRate)
        ->excludes(quality);
    AddPairs(command, "--vopt", options.videoOptions, "An option of the video encoder or of the format; repeatable")
        ->group(group);
    AddPairs(command, "--aopt", options.audioOptions, "An option of the audio encoder or of the format; repeatable")
        ->group(group);
    command
        .add_flag("--fragmented", options.isFragmented,
                  "MP4, MOV, M4A: in parts that play even if the program is killed")
        ->group(group);
}

} // namespace host
