#include "host/commands/EncodeSources.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"
#include "host/sources/AheadSource.h"

#include <algorithm>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

void SayLeftOut(const Source& source, const std::string& name, Messages& messages)
{
    std::string names;
    for (const std::string& left : source.LeftOut())
        names += (names.empty() ? "" : ", ") + left;
    if (!names.empty())
        messages.Say(Format("%s: left out: %s", ShownName(name).c_str(), names.c_str()));
}

} // namespace

Sources OpenSources(const EncodeOptions& options, const Choice& choice, Messages& messages)
{
    if (options.input == "-" && options.audioInput == "-")
        throw HostError(kExitUsage, "only one input can come from the standard input");
    if (options.end && *options.end <= options.start)
        throw HostError(kExitUsage, "--end has to lie behind --start");
    Sources sources;
    const bool isSeparate = choice.audio && !options.audioInput.empty();
    AudioFormat format = {};
    if (!options.isLibraryResampling)
        format = {options.sampleRate, options.channels};
    Wanted wanted = {choice.video != nullptr, choice.audio && !isSeparate, format,
                     options.videoStream,     options.audioStream,         options.start};
    sources.main = std::make_unique<AheadSource>(OpenSource(options.input, wanted, messages));
    SayLeftOut(*sources.main, options.input, messages);
    if (isSeparate) {
        wanted.video = false;
        wanted.audio = true;
        sources.separateAudio = std::make_unique<AheadSource>(OpenSource(options.audioInput, wanted, messages));
        SayLeftOut(*sources.separateAudio, options.audioInput, messages);
        if (!sources.separateAudio->Audio())
            throw HostError(kExitInput, Format("%s holds no audio", options.audioInput.c_str()));
    }

    const Streams present = sources.main->Present();
    if (!choice.video && present.video && !options.noVideo)
        messages.Say(Format("%s holds audio alone; the input's video is left out", options.output.c_str()));
    if (!choice.audio && (present.audio || !options.audioInput.empty()) && !options.noAudio)
        messages.Say(Format("%s holds video alone; the audio is left out", options.output.c_str()));
    if (!sources.Video() && !sources.Audio()) {
        const bool isWantedThere = (choice.video && present.video) || (choice.audio && present.audio);
        const bool isLeftOut = !isWantedThere && (present.video || present.audio);
        throw HostError(isLeftOut ? kExitUsage : kExitInput,
                        Format(isLeftOut ? "nothing is left of %s to write" : "%s holds no usable video or audio",
                               ShownName(options.input).c_str()));
    }
    if (!sources.Video() && options.pictures)
        messages.Warn("without video, --frames has no effect");
    if (const char* const hdr = sources.Video() ? HdrTransferName(sources.Video()->Video()->colour) : nullptr)
        messages.Warn(Format("%s has high dynamic range (%s); it is written with 8 bits, under the same name",
                             ShownName(options.input).c_str(), hdr));
    return sources;
}

Nanoseconds ExpectedLength(const JobPlan& plan, const Sources& sources)
{
    Nanoseconds length = 0;
    for (const Source* source : {sources.Video(), sources.Audio()})
        length = std::max(length, source ? source->Duration() : 0);
    if (length > 0)
        length = std::max<Nanoseconds>(std::min(length, plan.end.value_or(length)) - plan.start, 0);
    else if (plan.end)
        length = *plan.end - plan.start;
    if (plan.pictures) {
        const Nanoseconds limit = av_rescale(*plan.pictures, kSecond * plan.frameRate.den, plan.frameRate.num);
        if (limit > 0 && (length == 0 || limit < length))
            length = limit;
    }
    return length;
}

} // namespace host
