// Pictures through filters of libavfilter.
#ifndef ENCMGR_HOST_PICTURE_FILTER_H
#define ENCMGR_HOST_PICTURE_FILTER_H

#include "host/sources/Libav.h"
#include "host/sources/Source.h"

#include <deque>

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

} // namespace host

#endif // ENCMGR_HOST_PICTURE_FILTER_H
