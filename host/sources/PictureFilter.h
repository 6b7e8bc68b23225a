// Pictures through filters of libavfilter.
#ifndef ENCMGR_HOST_PICTURE_FILTER_H
#define ENCMGR_HOST_PICTURE_FILTER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

#include <deque>
#include <optional>
#include <string>

namespace host
{

class PictureFilter
{
public:
    // chain: filters as libavfilter writes them, which give one picture for each, in the same order. Pictures are
    // 4:2:0 of 8 bits and of this size. Throws HostError.
    PictureFilter(const std::string& chain, int width, int height);

    // Takes a picture, or a null frame behind the last. Returns false if the filters fail.
    bool Put(Item picture);

    // Nothing if the filters need another picture first.
    std::optional<Item> Take();

private:
    LibavOwned<AVFilterGraph> m_graph;
    AVFilterContext* m_in = nullptr;
    AVFilterContext* m_out = nullptr;
    std::deque<Item> m_inside; // without their pictures
    int64_t m_count = 0;       // put so far
};

enum class Deinterlacing { kNone, kMarked, kAll }; // of no picture, of those that say they are interlaced, of all

// Makes pictures of this size whole, then turns them by the filters of turn. Nothing if there is nothing to do;
// pictures too small for the deinterlacer keep their fields.
std::optional<PictureFilter> FilterFor(Deinterlacing deinterlacing, const std::string& turn, int width, int height);

} // namespace host

#endif // ENCMGR_HOST_PICTURE_FILTER_H
