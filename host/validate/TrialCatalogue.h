// The plug-in's records as the library's catalogue, for jobs that try them.
#ifndef ENCMGR_HOST_TRIAL_CATALOGUE_H
#define ENCMGR_HOST_TRIAL_CATALOGUE_H

#include "host/validate/Check.h"
#include "host/validate/Neighbours.h"

#include <string>
#include <vector>

namespace host
{

// A format with the encoders of a job; 0: without the stream.
struct TrialPair {
    KXDWORD format;
    KXDWORD video;
    KXDWORD audio;

    std::string Text() const; // "MKV with H264 and AAC"
    bool MakesFile() const;   // false of our own format, which only counts
};

// While it lives, the library's catalogue holds these records, all recorded (SlotLog.h). One at a time, and no plug-ins
// of the library's own beside it. The plug-in's neighbours lend the encoders that its formats name and it lacks; its
// encoders that none of its formats names go into a format of our own that only counts.
class TrialCatalogue
{
public:
    explicit TrialCatalogue(const Subject& subject);
    ~TrialCatalogue();
    TrialCatalogue(const TrialCatalogue&) = delete;
    TrialCatalogue& operator=(const TrialCatalogue&) = delete;

    // Each format with each pair of its encoders, and with each alone.
    const std::vector<TrialPair>& Pairs() const { return m_pairs; }
    // Few of them, among which each format and each encoder is.
    std::vector<TrialPair> Cover() const;

    // The plug-in's own encoders.
    std::vector<ENCODER_ITEM> OwnEncoders() const;

    static bool IsSequence(KXDWORD format);

private:
    void AddOrphans();
    void AddPairs(const FILEFORMAT_ITEM& format);

    LoadedPlugin m_plugin;
    std::vector<Neighbour> m_neighbours;
    std::vector<ENCODER_ITEM> m_encoders; // the originals
    std::vector<FILEFORMAT_ITEM> m_formats;
    std::vector<ENCODER_MODE> m_orphans[2]; // by type
    std::vector<TrialPair> m_pairs;
};

} // namespace host

#endif // ENCMGR_HOST_TRIAL_CATALOGUE_H
