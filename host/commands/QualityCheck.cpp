#include "host/commands/QualityCheck.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/job/EncoderOptions.h"

#include <sstream>

namespace host
{

namespace
{

class Checker
{
public:
    explicit Checker(const ENCODER_INFO& encoder)
        : m_fourCC(FourCCText(encoder.dwFourCC)), m_options(OptionsOfEncoder(encoder.dwFourCC))
    {
    }

    bool IsStated() const { return !m_options.empty(); }

    // Refuses if the encoder has no such option.
    const ENCODER_OPTION& Require(const char* argument, const char* key) const
    {
        if (const ENCODER_OPTION* const option = FindOption(m_options, key))
            return *option;
        std::string there;
        for (const char* const common : {"crf", "b", "preset", "tune", "g", "pass"})
            if (FindOption(m_options, common))
                there += (there.empty() ? "" : ", ") + std::string(common);
        Refuse(Format("%s: the encoder %s has nothing of the kind, but %s; encmgr list %s shows all that it takes",
                      argument, m_fourCC.c_str(), there.empty() ? "options of its own" : there.c_str(),
                      m_fourCC.c_str()));
    }

    void CheckNumber(const char* argument, const char* key, double value) const
    {
        const ENCODER_OPTION& option = Require(argument, key);
        if (value < option.dLeast || value > option.dMost)
            Refuse(
                Format("%s: the encoder %s takes %g to %g", argument, m_fourCC.c_str(), option.dLeast, option.dMost));
    }

    void CheckWord(const char* argument, const char* key, const std::string& word) const
    {
        const ENCODER_OPTION& option = Require(argument, key);
        std::istringstream words(option.pszWords);
        bool isThere = !*option.pszWords; // any text
        for (std::string one; words >> one;)
            isThere |= one == word;
        if (!isThere)
            Refuse(Format("%s: the encoder %s has no \"%s\"; there are: %s", argument, m_fourCC.c_str(), word.c_str(),
                          option.pszWords));
    }

private:
    [[noreturn]] static void Refuse(const std::string& text) { throw HostError(kExitUsage, text); }

    std::string m_fourCC;
    std::span<const ENCODER_OPTION> m_options;
};

} // namespace

void CheckQuality(const EncodeOptions& options, const Choice& choice)
{
    const bool isAsked = options.quality || !options.preset.empty() || !options.tune.empty() || options.keyDistance ||
                         options.passes > 1;
    if (!isAsked)
        return;
    if (!choice.video)
        throw HostError(kExitUsage, "--crf, --preset, --tune, --gop and --passes are for video, and there is none");
    const Checker checker(*choice.video);
    if (!checker.IsStated())
        return;
    if (options.quality)
        checker.CheckNumber("--crf", "crf", *options.quality);
    if (!options.preset.empty())
        checker.CheckWord("--preset", "preset", options.preset);
    if (!options.tune.empty())
        checker.CheckWord("--tune", "tune", options.tune);
    if (options.keyDistance)
        checker.CheckNumber("--gop", "g", *options.keyDistance);
    if (options.passes > 1)
        checker.Require("--passes", "pass");
}

} // namespace host
