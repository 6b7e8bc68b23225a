#include "media_file/Pacing.h"

#include "Common/Numbers.h"

#include <algorithm>
#include <limits>

int64_t CopiesDue(int64_t streamTime, double targetRate, int32_t framesOut)
{
    const double seconds = static_cast<double>(streamTime) / kTimeUnitsPerSecond;
    const double due = seconds * targetRate + 0.5;
    const int64_t copies = int64_t{SaturatingTruncate<int32_t>(due)} - framesOut + 1;
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    return due >= most + 1.0 || copies > most ? 0 : copies;
}

bool IsWrittenUnpaced(int64_t timeStamp, int64_t lastTime, double targetRate, double sourceRate)
{
    if (targetRate - sourceRate >= DefaultPrecision || lastTime == -1)
        return true;
    const std::optional<int32_t> minGap = TruncateIfFits(1.0 / targetRate * kTimeUnitsPerSecond); // one period
    return !minGap || timeStamp >= SaturatingAdd(lastTime, *minGap);
}

std::optional<AudioRate> RateOf(const EncodeParamAudio& format)
{
    const int64_t samplesPerSecond = int64_t{format.nSampleRate} * format.nChannels;
    int64_t bitsPerSecond = 0;
    if (format.nBitsPerSample <= 0 ||
        __builtin_mul_overflow(samplesPerSecond, int64_t{format.nBitsPerSample}, &bitsPerSecond) || bitsPerSecond < 8)
        return std::nullopt;
    const int64_t bytesPerSecond = bitsPerSecond / 8;
    return AudioRate{samplesPerSecond, static_cast<double>(bytesPerSecond)};
}

std::optional<int64_t> GapSamples(int64_t streamTime, int64_t bytesOut, const EncodeParamAudio& format,
                                  const AudioRate& rate)
{
    const double due = static_cast<double>(streamTime) / kTimeUnitsPerSecond;
    const double reached = static_cast<double>(bytesOut) / rate.bytesPerSecond;
    const auto blocks = SaturatingTruncate<int64_t>((due - reached) * format.nSampleRate + 0.5);
    if (blocks > std::numeric_limits<uint32_t>::max())
        return std::nullopt;
    return std::max<int64_t>(blocks, std::numeric_limits<int32_t>::min()) * format.nChannels;
}

int64_t BytesOfSamples(int64_t samples, const EncodeParamAudio& format)
{
    int64_t bits = 0;
    if (__builtin_mul_overflow(samples, int64_t{format.nBitsPerSample}, &bits))
        return std::numeric_limits<int64_t>::max();
    return bits / 8;
}

int64_t TimeOfBytes(int64_t bytes, const AudioRate& rate)
{
    return SaturatingTruncate<int64_t>(static_cast<double>(bytes) / rate.bytesPerSecond * kTimeUnitsPerSecond + 0.5);
}

int32_t DurationOfBytes(int bytes, const AudioRate& rate)
{
    return SaturatingTruncate<int32_t>(bytes / rate.bytesPerSecond * kTimeUnitsPerSecond + 0.5);
}
