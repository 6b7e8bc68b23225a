// What the first of two passes over the same pictures hands to the second.
#ifndef ENCMGR_PLUGINS_AV_PASS_STATISTICS_H
#define ENCMGR_PLUGINS_AV_PASS_STATISTICS_H

#include "plugins/av/Av.h"
#include "plugins/av/Tables.h"

#include <string>
#include <utility>

class PassStatistics
{
public:
    PassStatistics() = default; // of a job with a single pass
    // pass: 1 or 2. path: the file of statistics, in UTF-8.
    PassStatistics(Passes kind, int pass, std::string path) : m_kind(kind), m_pass(pass), m_path(std::move(path)) {}

    // 0 without passes.
    int Pass() const { return m_pass; }

    // Before the encoder is opened, which reads from this object as long as it lives. An error of libav's, or 0.
    int Prepare(AVCodecContext& context);

    // After each attempt to receive a packet, with its result.
    void Take(const AVCodecContext& context, int received);

    // When the first pass has come to its end. An error of libav's, or 0.
    int Save() const;

private:
    int Load();

    Passes m_kind = Passes::kNone;
    int m_pass = 0;
    std::string m_path;
    std::string m_text; // where libavcodec hands it over
};

#endif // ENCMGR_PLUGINS_AV_PASS_STATISTICS_H
