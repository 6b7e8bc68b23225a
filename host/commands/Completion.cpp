#include "host/commands/Completion.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace host
{

namespace
{

// A check that is never made, whose description holds the words.
const char* const kNote = "completion";

constexpr char kMarks[] = "-/\\=@*"; // by Kind

} // namespace

void SetCompletion(CLI::Option& option, const Completion& completion)
{
    const std::string text = kMarks[static_cast<size_t>(completion.kind)] + CLI::detail::join(completion.words, "\n");
    CLI::Validator note(text);
    note.name(kNote).active(false);
    option.check(note);
}

Completion CompletionOf(const CLI::Option& option)
{
    std::string text;
    try { // it gives its checks out to be changed only
        CLI::Validator note = *const_cast<CLI::Option&>(option).get_validator(kNote);
        text = note.active().get_description();
    } catch (const CLI::OptionNotFound&) {
        const std::string value = option.get_type_name();
        text = value.starts_with("FILE") || value == "OUTPUT" || option.get_positional() ? "/"
               : value == "DIR"                                                          ? "\\"
                                                                                         : "-";
    }
    Completion completion;
    completion.kind = static_cast<Completion::Kind>(std::find(kMarks, std::end(kMarks) - 1, text[0]) - kMarks);
    if (text.size() > 1)
        completion.words = CLI::detail::split(text.substr(1), '\n');
    return completion;
}

} // namespace host
