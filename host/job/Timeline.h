// What went on along a job's clock, in memory that doesn't grow with the job.
#ifndef ENCMGR_HOST_TIMELINE_H
#define ENCMGR_HOST_TIMELINE_H

#include "host/sources/Source.h"

#include <span>

namespace host
{

// Buckets of equal length, from the start of the file on. When they run out, each two become one of double length.
class Timeline
{
public:
    static constexpr size_t kMostBuckets = 600;

    struct Bucket {
        int64_t written = 0;  // pictures, repeats included
        int64_t repeated = 0; // of these
        int64_t dropped = 0;  // pictures of the source
        int64_t filled = 0;   // audio, in samples of each channel
        int64_t cut = 0;      //
        uint64_t bytes = 0;   // by which the file grew

        Bucket& operator+=(const Bucket& other);
    };

    // placeRate: places of pictures per second. A bucket is a whole number of places, so that each holds as many
    // pictures as the others; at first as many as take a tenth of a second.
    explicit Timeline(AVRational placeRate);

    // The bucket of a time, or of a picture's place; what lies before the start is in the first one. Earlier answers
    // no longer hold then.
    size_t IndexOf(Nanoseconds time);
    size_t IndexOfPlace(int64_t place);
    Bucket& At(Nanoseconds time) { return m_buckets[IndexOf(time)]; }
    Bucket& AtPlace(int64_t place) { return m_buckets[IndexOfPlace(place)]; }

    std::span<Bucket> Buckets() { return m_buckets; }
    std::span<const Bucket> Buckets() const { return m_buckets; }
    double BucketSeconds() const;

private:
    void Double();

    AVRational m_placeRate;
    int64_t m_placesPerBucket;
    std::vector<Bucket> m_buckets; // up to the last that was asked for
};

} // namespace host

#endif // ENCMGR_HOST_TIMELINE_H
