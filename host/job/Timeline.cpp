#include "host/job/Timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace host
{

Timeline::Bucket& Timeline::Bucket::operator+=(const Bucket& other)
{
    written += other.written;
    repeated += other.repeated;
    dropped += other.dropped;
    filled += other.filled;
    cut += other.cut;
    bytes += other.bytes;
    return *this;
}

Timeline::Timeline(AVRational placeRate)
    : m_placeRate(placeRate), m_placesPerBucket(static_cast<int64_t>(std::ceil(av_q2d(placeRate) / 10.0)))
{
    m_buckets.reserve(kMostBuckets);
}

size_t Timeline::IndexOf(Nanoseconds time)
{
    // Times of places are rounded to a nanosecond.
    return IndexOfPlace(av_rescale_rnd(time + 1, m_placeRate.num, kSecond * m_placeRate.den, AV_ROUND_DOWN));
}

size_t Timeline::IndexOfPlace(int64_t place)
{
    place = std::max<int64_t>(place, 0);
    while (place / m_placesPerBucket >= static_cast<int64_t>(kMostBuckets))
        Double();
    const auto index = static_cast<size_t>(place / m_placesPerBucket);
    if (index >= m_buckets.size())
        m_buckets.resize(index + 1);
    return index;
}

double Timeline::BucketSeconds() const
{
    return static_cast<double>(m_placesPerBucket) / av_q2d(m_placeRate);
}

void Timeline::Double()
{
    for (size_t i = 1; i < m_buckets.size(); ++i) {
        const Bucket bucket = std::exchange(m_buckets[i], {});
        m_buckets[i / 2] += bucket;
    }
    m_buckets.resize((m_buckets.size() + 1) / 2);
    m_placesPerBucket *= 2;
}

} // namespace host
