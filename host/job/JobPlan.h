// What a job is to be, from the options, the choice of format and encoders, and the source.
#ifndef ENCMGR_HOST_JOB_PLAN_H
#define ENCMGR_HOST_JOB_PLAN_H

#include "encmgr/PluginRecords.h"
#include "host/job/Catalogue.h"
#include "host/sources/PictureScaler.h"
#include "host/sources/Source.h"

namespace host
{

struct JobPlan {
    EncodeParam param = {};
    KXVideoInfo videoInfo = {};
    KXAudioInfo audioInfo = {};
    bool hasVideo = false;
    bool hasAudio = false;
    std::optional<PictureScaling> scaling; // before the library gets the pictures
    bool isDeinterlaced = false;           // the source is to make whole pictures of its fields
    AVRational frameRate = {25, 1};        // of the output
    std::optional<int64_t> pictures;       // the output ends after so many
    Nanoseconds start = 0;                 // of the part that is taken, from the start of the sources
    std::optional<Nanoseconds> end;        // and its end; without it, that of the sources
    Nanoseconds longestGap = 10 * kSecond; // in the source's pictures that may be filled with the one before
    bool isStrict = false;                 // none may be repeated, and none left out
    bool mayLackStream = false;            // one of two, whose encoder can't be set up

    // Adds to the options that param carries for encoder and format. An empty value adds nothing; neither does a stream
    // that there isn't.
    void AddVideoOption(const std::string& key, const std::string& value);
    void AddAudioOption(const std::string& key, const std::string& value);

private:
    void AddOption(KXDWORD* words, const std::string& key, const std::string& value);

    std::vector<std::shared_ptr<const std::string>> m_optionTexts; // in place for param, also for copies of the plan
};

// Null for a stream that isn't used.
JobPlan MakePlan(const EncodeOptions& options, const Choice& choice, const VideoFormat* video,
                 const AudioFormat* audio);

} // namespace host

#endif // ENCMGR_HOST_JOB_PLAN_H
