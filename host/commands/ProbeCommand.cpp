// "encmgr probe": what encode would see of an input.
#include "host/base/ExitCode.h"
#include "host/base/Interrupt.h"
#include "host/commands/Arguments.h"
#include "host/commands/Commands.h"
#include "host/commands/Probe.h"

#include <cstdio>
#include <memory>

namespace host
{

namespace
{

struct ProbeOptions {
    std::string input;
    bool isJson = false;
};

int RunProbe(const ProbeOptions& options, Messages& messages)
{
    const InputFacts facts = FactsOf(options.input, messages);
    if (InterruptSignal())
        throw HostError(kExitSignal + InterruptSignal(), "interrupted");
    std::fputs((options.isJson ? JsonText(ProbeJson(facts)) : ProbeText(facts)).c_str(), stdout);
    return kExitGood;
}

} // namespace

void AddProbeCommand(CLI::App& program, Run& chosen)
{
    CLI::App* const command = program.add_subcommand("probe", "Tell what encode would see of an input");
    const auto options = std::make_shared<ProbeOptions>();
    AddFile(*command, "INPUT", options->input, "A media file, an address, \"-\" for the standard input, or a test card")
        ->required()
        ->type_name("")
        ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    command->add_flag("--json", options->isJson, "Print JSON, for programs");
    command->callback([options, &chosen] {
        chosen = [options](const CommonOptions&, Messages& messages) { return RunProbe(*options, messages); };
    });
}

} // namespace host
