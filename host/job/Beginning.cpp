#include "host/job/Beginning.h"

#include "host/base/Interrupt.h"

#include <algorithm>
#include <cmath>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

namespace
{

// For so long audio waits for the first picture.
constexpr Nanoseconds kLongestWait = 10 * kSecond;

// In seconds: how far pictures may be from the audio that they belong to, and what lead of audio is no mere offset.
constexpr double kUnnoticed = 0.015;
constexpr double kLongestLead = 1e6;

int64_t SamplesOf(const Item& block, const KXAudioInfo& info)
{
    return static_cast<int64_t>(block.samples.size()) / info.channels;
}

// Places of the output in a span of time, with a fraction.
double Places(Nanoseconds span, const JobPlan& plan)
{
    return InSeconds(span) * av_q2d(plan.frameRate);
}

bool IsAtSourceRate(const JobPlan& plan)
{
    return std::fabs(av_q2d(plan.frameRate) / plan.videoInfo.framerate - 1.0) < 0.001;
}

// The first time of both streams. If audio comes first, pictures may lie between the places of the output's: the
// nearest place does if it is near enough for nobody to notice, or if each place shows the nearest of several pictures
// anyhow. Otherwise the start goes back so far that the first picture falls on a place.
Nanoseconds StartOfWhole(const FirstTimes& first, const JobPlan& plan)
{
    if (!first.picture || !first.block || *first.picture <= *first.block)
        return first.picture ? *first.picture : first.block.value_or(0);
    if (HasFewerPlaces(plan))
        return *first.block;
    const double lead = InSeconds(*first.picture - *first.block);
    const double places = lead * av_q2d(plan.frameRate);
    const double off = std::fabs(places - std::round(places));
    if ((off <= 1.0 / 3.0 && off / av_q2d(plan.frameRate) <= kUnnoticed) || lead > kLongestLead)
        return *first.block;
    const auto back = static_cast<int64_t>(std::ceil(places));
    return *first.picture - av_rescale(back, kSecond * plan.frameRate.den, plan.frameRate.num);
}

// The start of the job whose first picture from a time on is this one.
Nanoseconds StartBy(Nanoseconds picture, Nanoseconds time, const JobPlan& plan)
{
    if (!IsAtSourceRate(plan))
        return time;
    const Nanoseconds lead = std::max<Nanoseconds>(picture - time + GrainOfTime(plan.frameRate), 0);
    const int64_t places = av_rescale_rnd(lead, plan.frameRate.num, kSecond * plan.frameRate.den, AV_ROUND_DOWN);
    return picture - av_rescale(places, kSecond * plan.frameRate.den, plan.frameRate.num);
}

// Whether the picture before the start is what the first place shows, rather than the one behind.
bool IsShownFirst(const Item& before, const Item& behind, Nanoseconds start, const JobPlan& plan)
{
    const double lead = Places(behind.time - start, plan);
    return lead >= 0.5 || start - before.time <= behind.time - start;
}

// Of blocks in the order of time.
void CutBlocks(std::deque<Item>& blocks, Nanoseconds start, const KXAudioInfo& info)
{
    while (!blocks.empty()) {
        Item& block = blocks.front();
        const int64_t early = av_rescale(start - block.time, info.samplerate, kSecond);
        if (early < SamplesOf(block, info)) {
            if (early > 0) {
                block.samples.erase(block.samples.begin(), block.samples.begin() + early * info.channels);
                block.time = start;
            }
            return;
        }
        blocks.pop_front();
    }
}

void SkipTo(Nanoseconds start, const JobPlan& plan, TimeMerge& merge, Beginning& beginning)
{
    const Nanoseconds earliest = start - (plan.hasVideo ? GrainOfTime(plan.frameRate) : 0);
    std::optional<Item> before, behind;
    std::deque<Item> blocks;
    while (!behind && !InterruptSignal()) {
        Item item = merge.Next();
        if (item.kind == Item::Kind::kEnd)
            break;
        if (item.kind == Item::Kind::kPicture) {
            std::optional<Item>& picture = item.time < earliest ? before : behind;
            picture = std::move(item);
            continue;
        }
        const Nanoseconds time = item.time;
        const Nanoseconds length = av_rescale(SamplesOf(item, plan.audioInfo), kSecond, plan.audioInfo.samplerate);
        if (time + length > earliest)
            blocks.push_back(std::move(item));
        if (!blocks.empty() && (!plan.hasVideo || time > start + kLongestWait))
            break;
    }

    beginning.time = behind ? StartBy(behind->time, start, plan) : start;
    CutBlocks(blocks, beginning.time, plan.audioInfo);
    const bool isHeld = before && (behind ? IsShownFirst(*before, *behind, beginning.time, plan)
                                          : !blocks.empty() || before->time + before->duration > start);
    if (isHeld) {
        before->duration = std::max<Nanoseconds>(before->time + before->duration - beginning.time, 0);
        before->time = beginning.time;
        beginning.items.push_back(std::move(*before));
    }
    std::move(blocks.begin(), blocks.end(), std::back_inserter(beginning.items));
    if (behind)
        beginning.items.push_back(std::move(*behind));
}

} // namespace

Nanoseconds GrainOfTime(AVRational frameRate)
{
    return std::min<Nanoseconds>(500'000, av_rescale(kSecond, frameRate.den, 4LL * frameRate.num));
}

bool HasFewerPlaces(const JobPlan& plan)
{
    return av_q2d(plan.frameRate) < plan.videoInfo.framerate * 0.999;
}

Beginning FindBeginning(const JobPlan& plan, TimeMerge& merge)
{
    const bool isWhole = plan.start == 0;
    const Nanoseconds whole = StartOfWhole(isWhole ? merge.First() : merge.StatedFirst(), plan);
    Beginning beginning = {whole, plan.end ? std::optional(whole + *plan.end) : std::nullopt, {}};
    if (!isWhole)
        SkipTo(whole + plan.start, plan, merge, beginning);
    return beginning;
}

} // namespace host
