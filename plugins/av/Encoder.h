// What the video and the audio encoder have in common: a libavcodec context, and the packets that come out of it.
#ifndef ENCMGR_PLUGINS_AV_ENCODER_H
#define ENCMGR_PLUGINS_AV_ENCODER_H

#include "encmgr/Log.h"
#include "log/CatchAll.h"
#include "plugins/av/Av.h"
#include "plugins/av/CodecOptions.h" // IWYU pragma: export
#include "plugins/av/PassStatistics.h"
#include "plugins/av/Tables.h"

#include <vector>

// What one call leaves for the file format. An encoder may hold back what it took, so a frame that was taken well may
// come with no packet, and a later one with several.
struct EncodedPackets {
    bool accepted = false;       // false: the frame is lost
    size_t count = 0;            // the first packets of the pool are valid
    std::vector<PacketPtr> pool; // keeps its packets from call to call
};

class Encoder
{
public:
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    virtual ~Encoder();

    // A job's open encoder, or null if the job has none of this plug-in's. The file format takes from it what goes
    // into its header. Any thread; valid until the job's encoders are destroyed.
    static const Encoder* OfJob(const EncodeParam* pJob, int type);

    const EncoderEntry& Entry() const { return m_entry; }
    const AVCodecContext& Context() const { return *m_context; }
    const std::vector<Option>& JobOptions() const { return m_options; }

    // Whether the job is the first of two passes, whose packets are of no use.
    bool IsFirstPass() const { return m_statistics.Pass() == 1; }

protected:
    Encoder(const EncoderEntry& entry, const EncodeParam* pJob);

    // Opens m_context with the usual options, then the job's, and makes it known to the file format of the job. Usual
    // ones that the encoder refuses for just this picture give way to its own defaults; the job's never do. False, with
    // a log line, if it can't be opened.
    bool Open(const std::vector<Option>& usual);

    // Sets what the job demands in a context that isn't open yet.
    virtual void Prepare(AVCodecContext& context) const = 0;

    // A call's packets: those that the body's calls of Encode add. They are accepted if the body returns true; when
    // memory runs out they aren't. Encode sends a frame, or null at the end; it is false, with a log line, if that
    // failed.
    template <class Body> EncodedPackets& Collect(Body body)
    {
        m_packets.count = 0;
        m_packets.accepted = CatchAll(body, [this](const char* cause) {
            KXLogEx(L"wpav: %ls failed: %s.", m_entry.name, cause);
            return false;
        });
        return m_packets;
    }
    bool Encode(const AVFrame* frame);
    bool SaveStatistics();

    void Log(const wchar_t* what, int error) const;

    const EncodeParam& Job() const { return *m_job; }
    AVCodecContext& OpenContext() { return *m_context; }

private:
    int TryOpen(const std::vector<Option>& usual, int logLevelOffset);
    bool IsAsSettled() const;

    const EncoderEntry& m_entry;
    const EncodeParam* const m_job;
    std::vector<Option> m_options; // the job's, the file format's among them
    PassStatistics m_statistics;
    CodecContextPtr m_context;
    EncodedPackets m_packets;
};

#endif // ENCMGR_PLUGINS_AV_ENCODER_H
