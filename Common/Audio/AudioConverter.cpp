#include "Common/Audio/AudioConverter.h"

#include "Common/Audio/ResampleRows.h"
#include "Common/Numbers.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

namespace
{

constexpr int kDefaultCapacity = 0x40000;

// Positions from first on. A balance left by an earlier job can ask for more or fewer samples than there are: the last
// sample block is repeated, or the end cut off.
void CopySamples(const int16_t* work, int n, int16_t* out, int first, int count, int block)
{
    const int copied = std::clamp(n - first, 0, count);
    std::copy_n(work + std::min(n, first), copied, out);
    for (int i = copied; i < count; ++i)
        out[i] = work[n - block + (first + i - n) % block];
}

} // namespace

CAudioConverter::CAudioConverter(int nSrcChannels, int nDstChannels, int nSrcRate, int nDstRate, int nCapacity)
    : m_nCapacity(nCapacity > 0 ? nCapacity : kDefaultCapacity), m_nSrcChannels(nSrcChannels),
      m_nDstChannels(nDstChannels), m_nSrcRate(nSrcRate), m_nDstRate(nDstRate)
{
    auto output = std::make_unique<int16_t[]>(static_cast<size_t>(m_nCapacity));
    m_pWork = new int16_t[static_cast<size_t>(m_nCapacity)]();
    m_pOutput = output.release();
}

CAudioConverter::~CAudioConverter()
{
    delete[] m_pOutput;
    delete[] m_pWork;
}

std::atomic<double>& CAudioConverter::Spare()
{
    static std::atomic<double> s_dSpare{0.0};
    return s_dSpare;
}

int CAudioConverter::Put(const short* pSamples, int nSamples)
{
    if (!pSamples || nSamples <= 0 || m_nSrcRate <= 0 || m_nDstRate <= 0)
        return m_nValid;

    // Generous, so that a steady stream of blocks grows the buffers at most once.
    const double dRates = static_cast<double>(m_nDstRate) / m_nSrcRate;
    const int64_t nNeed = SaturatingTruncate<int32_t>(nSamples * dRates * 2);
    if (nNeed > m_nCapacity - m_nValid)
        Reserve(m_nCapacity + 2 * nNeed + 4096, 0);

    if (!IsCopy())
        return m_nValid += ConvertData(pSamples, nSamples);
    if (Reserve(int64_t{m_nValid} + nSamples, 0)) {
        std::copy_n(pSamples, nSamples, m_pOutput + m_nValid);
        m_nValid += nSamples;
    }
    return m_nValid;
}

int CAudioConverter::ConvertData(const short* pSamples, int nSamples)
{
    if ((!pSamples && nSamples > 0) || nSamples < 0 || m_nSrcRate <= 0 || m_nDstRate <= 0)
        return 0;
    if (!Reserve(int64_t{m_nValid} + CountOf(nSamples), 0))
        return 0;
    const int nOut = Begin(pSamples, nSamples);
    Make(m_pOutput + m_nValid, 0, nOut);
    End();
    return nOut;
}

int CAudioConverter::CountOf(int nSamples) const
{
    return OutputCount(SamplesAfterChannels(nSamples));
}

int CAudioConverter::Begin(const short* pSamples, int nSamples)
{
    const int64_t nWork = SamplesAfterChannels(nSamples);
    m_nBlock = m_nBlockOut = 0;
    if (!Reserve(0, kHistory + nWork + kLookahead))
        return 0;
    m_nBlock = static_cast<int>(nWork);
    m_nBlockOut = OutputCount(nWork);
    FillWork(pSamples, m_nBlock);
    return m_nBlockOut;
}

void CAudioConverter::Make(short* pOut, int nFirst, int nCount) const
{
    const int16_t* work = m_pWork + kHistory;
    if (m_nSrcRate == m_nDstRate)
        CopySamples(work, m_nBlock, pOut, nFirst, nCount, m_nDstChannels == 1 ? 1 : 2);
    else if (m_nDstChannels == 1)
        ResampleRows().mono({work, m_nBlock, m_nBlockOut, pOut, nFirst, nFirst + nCount}, nFirst);
    else
        ResampleRows().stereo({work, m_nBlock, m_nBlockOut, pOut, nFirst / 2, (nFirst + nCount) / 2}, nFirst / 2);
}

void CAudioConverter::End()
{
    const double dRatio = static_cast<double>(m_nSrcRate) / m_nDstRate;
    Spare().store(Spare().load(std::memory_order_relaxed) + (m_nBlock - dRatio * m_nBlockOut),
                  std::memory_order_relaxed);
    const int16_t* work = m_pWork + kHistory;
    m_pWork[0] = work[m_nBlock - 2];
    m_pWork[1] = work[m_nBlock - 1];
}

int CAudioConverter::Get(short* pOut, int nMax)
{
    if (!pOut || nMax <= 0)
        return 0;
    const int nCount = std::min(m_nValid, nMax);
    std::copy_n(m_pOutput, nCount, pOut);
    std::memmove(m_pOutput, m_pOutput + nCount, static_cast<size_t>(m_nValid - nCount) * sizeof(int16_t));
    m_nValid -= nCount;
    return nCount;
}

int CAudioConverter::GetFreeSize() const
{
    return m_nCapacity - m_nValid;
}

int CAudioConverter::GetValidSize() const
{
    return m_nValid;
}

void CAudioConverter::Reset()
{
    m_nValid = 0;
}

int CAudioConverter::LongestBlock(int nMaxOut) const
{
    constexpr int64_t longest = std::numeric_limits<int32_t>::max();
    const int64_t nUnit = std::max(1, m_nSrcChannels);
    if (m_nSrcRate <= 0 || m_nDstRate <= 0)
        return static_cast<int>(longest / nUnit * nUnit);

    // From an estimate on the high side, down to the first that fits.
    const double dWork = (nMaxOut + 2.0) * m_nSrcRate / m_nDstRate - Spare().load(std::memory_order_relaxed);
    const double dWorkPerSample = static_cast<double>(SamplesAfterChannels(2)) / 2;
    int64_t nSamples = std::min<int64_t>(SaturatingTruncate<int32_t>(dWork / dWorkPerSample), longest - 2 * nUnit);
    nSamples = std::min((nSamples / nUnit + 2) * nUnit, longest / nUnit * nUnit);
    while (nSamples > nUnit && OutputCount(SamplesAfterChannels(nSamples)) > nMaxOut)
        nSamples -= nUnit;
    return static_cast<int>(std::max(nSamples, nUnit));
}

// Sees to room for so many samples in both buffers. False if 32-bit counts can't hold them.
bool CAudioConverter::Reserve(int64_t nOutput, int64_t nWork)
{
    const int64_t nCapacity = std::max(nOutput, nWork);
    if (nCapacity > std::numeric_limits<int32_t>::max())
        return false;
    if (nCapacity > m_nCapacity)
        Grow(nCapacity);
    return true;
}

void CAudioConverter::Grow(int64_t nCapacity)
{
    for (int16_t** pp : {&m_pOutput, &m_pWork}) {
        int16_t* pLarger = new int16_t[static_cast<size_t>(nCapacity)]();
        std::copy_n(*pp, m_nCapacity, pLarger);
        delete[] * pp;
        *pp = pLarger;
    }
    m_nCapacity = static_cast<int32_t>(nCapacity);
}

bool CAudioConverter::IsCopy() const
{
    return m_nSrcChannels == m_nDstChannels && m_nSrcRate == m_nDstRate;
}

int64_t CAudioConverter::SamplesAfterChannels(int64_t nSamples) const
{
    if (m_nSrcChannels == m_nDstChannels)
        return nSamples;
    return m_nSrcChannels == 1 ? 2 * nSamples : nSamples / 2;
}

// How many samples a block of nWork samples after the channel step gives. Stereo is made in whole pairs, except at
// equal rates.
int CAudioConverter::OutputCount(int64_t nWork) const
{
    const double dRatio = static_cast<double>(m_nSrcRate) / m_nDstRate;
    const double dSpare = Spare().load(std::memory_order_relaxed);
    const int nOut = std::max(0, SaturatingTruncate<int32_t>((static_cast<double>(nWork) + dSpare) / dRatio + 0.5));
    return m_nSrcRate != m_nDstRate && m_nDstChannels != 1 ? nOut / 2 * 2 : nOut;
}

// The channel step: fills the work buffer after the history, and clears what may be read after the block.
void CAudioConverter::FillWork(const short* pSamples, int nWork)
{
    int16_t* work = m_pWork + kHistory;
    if (m_nSrcChannels == m_nDstChannels) {
        std::copy_n(pSamples, nWork, work);
    } else if (m_nSrcChannels == 1) {
        ResampleRows().monoToStereo(pSamples, work, nWork / 2);
    } else {
        ResampleRows().stereoToMono(pSamples, work, nWork);
    }
    std::fill_n(work + nWork, kLookahead, int16_t{0});
}
