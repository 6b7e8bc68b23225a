// What a job is to be, from the options, the choice of format and encoders, and the source.
#ifndef ENCMGR_HOST_JOB_PLAN_H
#define ENCMGR_HOST_JOB_PLAN_H

#include "encmgr/PluginRecords.h"
#include "host/job/Catalogue.h"
#include "host/sources/Source.h"

namespace host
{

struct JobPlan {
    EncodeParam param = {};
    KXVideoInfo videoInfo = {};
    KXAudioInfo audioInfo = {};
    bool hasVideo = false;
    bool hasAudio = false;
    bool isDeinterlaced = false;           // the source is to make whole pictures of its fields
    AVRational frameRate = {25, 1};        // of the output
    std::optional<int64_t> pictures;       // the output ends after so many
    Nanoseconds longestGap = 10 * kSecond; // in the source's pictures that may be filled with the one before
    bool isStrict = false;                 // none may be repeated, and none left out
    bool mayLackStream = false;            // one of two, whose encoder can't be set up
    std::string videoOptions;              // for the encoder and the format, as KXSetOptions takes them
    std::string audioOptions;
};

// Null for a stream that isn't used.
JobPlan MakePlan(const EncodeOptions& options, const Choice& choice, const VideoFormat* video,
                 const AudioFormat* audio);

} // namespace host

#endif // ENCMGR_HOST_JOB_PLAN_H
