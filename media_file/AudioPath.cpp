// One audio block from the host to the job: converted if that was planned, then held to the host's clock. The position
// reached is the count of bytes written; a block ahead of it is preceded by fill, one behind it loses its front.
#include "Common/Numbers.h"
#include "encmgr/Log.h"
#include "media_file/MediaFile.h"
#include "media_file/Pacing.h"

#include <algorithm>
#include <cstring>

namespace
{

constexpr int kBlankBufSize = 4096;
constexpr int kBytesPerSample = 2; // where samples are converted

double Seconds(int64_t time)
{
    return static_cast<double>(time) / kTimeUnitsPerSecond;
}

unsigned char* BytesOf(const MEDIA_FRAME& frame)
{
    return static_cast<unsigned char*>(frame.audio.pData);
}

// Lets the frame start later.
void MoveForward(MEDIA_FRAME& frame, int64_t time)
{
    frame.llTimeStamp = SaturatingAdd(frame.llTimeStamp, time);
    frame.llStreamTime = SaturatingAdd(frame.llStreamTime, time);
}

} // namespace

int MediaFile::WriteAudioData(const MEDIA_FRAME* pFrame)
{
    if (!pFrame || pFrame->audio.nDataSize <= 0 || !pFrame->audio.pData)
        return 0;
    if (!m_pAudioConverter)
        return PaceAudio(pFrame);

    // The resample buffer doesn't grow: a block that would overfill it goes in slices.
    const int64_t nSourceSamples =
        int64_t{m_pAudioConverter->SourceRate()} * std::max(1, m_pAudioConverter->SourceChannels());
    const AudioRate sourceRate = {nSourceSamples, static_cast<double>(nSourceSamples) * kBytesPerSample};
    int nSum = 0;
    int nSize = 0;
    for (int nDone = 0; nDone < pFrame->audio.nDataSize; nDone += nSize) {
        const int64_t nLongest = int64_t{m_pAudioConverter->LongestBlock(kResampleBufSamples)} * kBytesPerSample;
        nSize = static_cast<int>(std::min<int64_t>(nLongest, pFrame->audio.nDataSize - nDone));
        MEDIA_FRAME slice = *pFrame;
        slice.audio.pData = BytesOf(*pFrame) + nDone;
        slice.audio.nDataSize = nSize;
        MoveForward(slice, TimeOfBytes(nDone, sourceRate));
        // At rates far enough apart even one sample block overfills the buffer.
        const bool bOverfills = m_pAudioConverter->CountOf(nSize / kBytesPerSample) > kResampleBufSamples;
        nSum = WrappingAdd(nSum, bOverfills ? WriteInPieces(slice) : PaceAudio(GetResampleFrame(&slice)));
    }
    return nSum;
}

// Converts and writes a block by buffers full.
int MediaFile::WriteInPieces(const MEDIA_FRAME& block)
{
    const int64_t nOutputSamples = int64_t{m_EncParam.audio.nSampleRate} * std::max(1, m_EncParam.audio.nChannels);
    const AudioRate rate = {nOutputSamples, static_cast<double>(nOutputSamples) * kBytesPerSample};
    MEDIA_FRAME piece = block;
    const int nCount =
        m_pAudioConverter->Begin(static_cast<const short*>(block.audio.pData), block.audio.nDataSize / kBytesPerSample);
    int nSum = 0;
    for (int64_t nDone = 0; nDone < nCount; nDone += kResampleBufSamples) {
        const int nPiece = static_cast<int>(std::min<int64_t>(kResampleBufSamples, nCount - nDone));
        m_pAudioConverter->Make(m_pResampleBuf, static_cast<int>(nDone), nPiece);
        nSum = WrappingAdd(nSum, PaceAudio(OutputFrame(piece, nPiece)));
        MoveForward(piece, TimeOfBytes(int64_t{kResampleBufSamples} * kBytesPerSample, rate));
    }
    m_pAudioConverter->End();
    return nSum;
}

const MEDIA_FRAME* MediaFile::GetResampleFrame(const MEDIA_FRAME* pFrame)
{
    if (!m_pAudioConverter)
        return pFrame;
    m_pAudioConverter->Put(static_cast<const short*>(pFrame->audio.pData), pFrame->audio.nDataSize / kBytesPerSample);
    const int nValid = std::min(m_pAudioConverter->GetValidSize(), kResampleBufSamples);
    const int nGot = m_pAudioConverter->Get(m_pResampleBuf, nValid);

    return OutputFrame(*pFrame, nGot);
}

// The frame with what stands in the resample buffer instead of its samples.
const MEDIA_FRAME* MediaFile::OutputFrame(const MEDIA_FRAME& frame, int nSamples)
{
    m_OutFrame = frame;
    m_OutFrame.audio.pData = m_pResampleBuf;
    m_OutFrame.audio.nDataSize = kBytesPerSample * nSamples;
    m_OutFrame.audio.nSampleRate = m_EncParam.audio.nSampleRate;
    m_OutFrame.audio.nChannels = m_EncParam.audio.nChannels;
    m_OutFrame.audio.nBitsPerSample = m_EncParam.audio.nBitsPerSample;
    return &m_OutFrame;
}

int MediaFile::_WriteAudioData(const MEDIA_FRAME* pFrame)
{
    if (!pFrame)
        return 0;
    const int nResult = m_PluginMgr.WriteAudioData(pFrame);
    m_llAudioBytes += pFrame->audio.nDataSize;
    if (m_nBlockAlign > 0 && pFrame->audio.nDataSize >= m_nBlockAlign && pFrame->audio.pData)
        std::memcpy(m_LastBlock, BytesOf(*pFrame) + pFrame->audio.nDataSize - m_nBlockAlign,
                    static_cast<size_t>(m_nBlockAlign));
    return nResult;
}

// Writes a block in the output format where it belongs on the clock.
int MediaFile::PaceAudio(const MEDIA_FRAME* pFrame)
{
    if (m_PluginMgr.m_bNoPacing)
        return _WriteAudioData(pFrame);
    const EncodeParamAudio& format = m_EncParam.audio;
    const std::optional<AudioRate> rate = RateOf(format);
    if (!rate)
        return 0;

    const std::optional<int64_t> gap = GapSamples(pFrame->llStreamTime, m_llAudioBytes, format, *rate);
    if (!gap)
        return 0;
    const int64_t nGap = *gap;
    if (nGap < 0)
        return WriteLateBlock(*pFrame, *rate, -nGap);
    if (nGap == 0 || m_nBlockAlign <= 0) // without a plan there is nothing to fill with
        return _WriteAudioData(pFrame);

    const int64_t nGapBytes = BytesOfSamples(nGap, format);
    const int nFilled = FillGap(*pFrame, *rate, nGapBytes);
    KXLogEx(L"Fill Blank Audio Data [%.03f sec/%d bytes] before %.03f sec.",
            static_cast<double>(nGap) / static_cast<double>(rate->samplesPerSecond),
            SaturatingTruncate<int>(static_cast<double>(nGapBytes)), Seconds(pFrame->llTimeStamp));
    return WrappingAdd(nFilled, _WriteAudioData(pFrame));
}

// Repeats the last sample block written, in pieces from one buffer, with times that follow the position reached.
int MediaFile::FillGap(const MEDIA_FRAME& frame, const AudioRate& rate, int64_t nGapBytes)
{
    if (!m_pBlankBuf)
        m_pBlankBuf = new unsigned char[kBlankBufSize];
    const int nFull = kBlankBufSize / m_nBlockAlign * m_nBlockAlign;
    for (int nAt = 0; nAt < nFull; nAt += m_nBlockAlign)
        std::memcpy(m_pBlankBuf + nAt, m_LastBlock, static_cast<size_t>(m_nBlockAlign));

    int nSum = 0;
    int64_t llPos = TimeOfBytes(m_llAudioBytes, rate);
    for (int64_t nLeft = nGapBytes; nLeft > 0;) {
        const auto nPiece = static_cast<int>(std::min<int64_t>(nLeft, nFull));
        MEDIA_FRAME fill = frame;
        fill.audio.pData = m_pBlankBuf;
        fill.audio.nDataSize = nPiece;
        fill.llTimeStamp = llPos;
        fill.llStreamTime = llPos;
        fill.nDuration = DurationOfBytes(nPiece, rate);
        llPos = SaturatingAdd(llPos, fill.nDuration);
        nSum = WrappingAdd(nSum, _WriteAudioData(&fill));
        nLeft -= nPiece;
    }
    return nSum;
}

// The block starts nLate samples before the position reached. What overlaps is cut off; the rest starts later by the
// time cut off, rounded down.
int MediaFile::WriteLateBlock(const MEDIA_FRAME& frame, const AudioRate& rate, int64_t nLate)
{
    const EncodeParamAudio& format = m_EncParam.audio;
    const auto dSamplesPerSecond = static_cast<double>(rate.samplesPerSecond);
    const wchar_t* const pszMessage = L"Throw away Audio Data [%.03f sec] before %.02f sec.";
    const int64_t nDropBytes = BytesOfSamples(nLate, format);
    if (nDropBytes >= frame.audio.nDataSize) {
        const int nSamples = frame.audio.nDataSize / std::max(1, format.nBitsPerSample / 8);
        KXLogEx(pszMessage, nSamples / dSamplesPerSecond, Seconds(frame.llTimeStamp));
        return 0;
    }

    const auto llCut =
        SaturatingTruncate<int64_t>(static_cast<double>(nDropBytes) / rate.bytesPerSecond * kTimeUnitsPerSecond);
    MEDIA_FRAME trimmed = frame;
    trimmed.audio.pData = BytesOf(frame) + nDropBytes;
    trimmed.audio.nDataSize -= static_cast<int>(nDropBytes);
    MoveForward(trimmed, llCut);
    const int nResult = _WriteAudioData(&trimmed);

    // Only a cut of more than a millisecond is worth a line. The comparison has 32 bits.
    if (WrappingMultiply(static_cast<int32_t>(nLate), 1000) > static_cast<int32_t>(rate.samplesPerSecond))
        KXLogEx(pszMessage, static_cast<double>(nLate) / dSamplesPerSecond, Seconds(frame.llTimeStamp));
    return nResult;
}
