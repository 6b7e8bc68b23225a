// What a job has done so far: for the progress, the last line and the report.
#ifndef ENCMGR_HOST_TALLY_H
#define ENCMGR_HOST_TALLY_H

#include "host/job/Timeline.h"

#include <algorithm>

namespace host
{

struct JobPlan;
class OutputFile;

struct Counts {
    int64_t taken = 0;           // pictures of the source, up to where the output ends
    int64_t pictures = 0;        // handed to the file, repeats included
    int64_t repeated = 0;        // of these, copies of the one before
    int64_t dropped = 0;         // pictures of the source that were left out
    int64_t largestRepeated = 0; // in a row
    int64_t largestDropped = 0;  //
};

// Counts samples of each channel. What came in has the source's rate, all else the output's.
struct AudioCounts {
    int sampleRate = 1; // of the output, Hz
    int64_t samplesIn = 0;
    int64_t samplesOut = 0; // handed to the file
    int64_t filled = 0;     // of these, repeats of the last one, where the source had a gap
    int64_t cut = 0;        // left out, where blocks overlapped
    int64_t gaps = 0;
    int64_t droppedBlocks = 0; // cut as a whole
};

class Tally
{
public:
    // output outlives the tally; its growth is noted, too.
    Tally(const JobPlan& plan, const OutputFile& output);

    // A picture of the source is to be written.
    void TakePicture() { ++m_counts.taken; }

    // Copies at places in a row, up to this one. isRepeat: the first one, too, is a copy of the picture before.
    void WritePictures(int64_t lastPlace, int copies, bool isRepeat);

    // So many others, around this time, are left out. largestRun: the longest row of them so far.
    void DropPictures(Nanoseconds time, int64_t count, int64_t largestRun);

    // Before the first block.
    void SetSampleRate(int rate) { m_audio.sampleRate = std::max(rate, 1); }

    // A block of the source's became so many samples of the output's rate, and this is what was written.
    void WriteAudio(Nanoseconds time, int64_t samplesIn, int64_t samplesMade, int64_t samplesWritten);

    // The job's clock has come up to here.
    void Reach(Nanoseconds time) { m_position = std::max(m_position, time); }

    // Call when the file is closed: what it has grown by since is nobody's time.
    void Close();

    const Counts& Pictures() const { return m_counts; }
    const AudioCounts& Audio() const { return m_audio; }
    Nanoseconds Position() const { return m_position; } // the time reached
    const Timeline& Times() const { return m_timeline; }
    uint64_t BytesAtClose() const { return m_bytesAtClose; }

private:
    void SpreadFill(size_t first, size_t last, int64_t filled);
    void NoteGrowth(size_t bucket);
    uint64_t Growth();

    const OutputFile& m_output;
    Nanoseconds m_position = 0;
    Counts m_counts;
    AudioCounts m_audio;
    Timeline m_timeline;
    int64_t m_repeatedRun = 0; // up to the last picture
    size_t m_bucket = 0;       // the latest; its growth isn't noted yet
    uint64_t m_bytes = 0;      // the file's, when it began
    uint64_t m_bytesAtClose = 0;
};

} // namespace host

#endif // ENCMGR_HOST_TALLY_H
