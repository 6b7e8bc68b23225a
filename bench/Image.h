// Pictures that ours and all peers share: one block of memory, filled with something that looks like a picture.
#ifndef ENCMGR_BENCH_IMAGE_H
#define ENCMGR_BENCH_IMAGE_H

#include "Common/Image/ImageParam.h"

#include <cstddef>
#include <memory>
#include <vector>

// Bgr24 and Bgra32 name the order of the bytes in memory.
enum class Layout { I420, Yuy2, Bgr24, Bgra32, Grey8 };

// A handle: copies share the memory. Planes and rows begin at multiples of 64 bytes, as some peers ask for; bitmaps'
// rows follow one another with the padding that their headers imply.
class Image
{
public:
    Image(Layout layout, int width, int height, bool bottomUp = false);

    Layout GetLayout() const { return m_layout; }
    int Width() const { return m_width; }
    int Height() const { return m_height; }
    int Planes() const { return m_layout == Layout::I420 ? 3 : 1; }
    int BytesPerPixel() const; // of the first plane
    int PlaneWidth(int plane) const { return plane ? (m_width + 1) / 2 : m_width; }
    int PlaneHeight(int plane) const { return plane ? (m_height + 1) / 2 : m_height; }
    bool IsBottomUp() const { return m_bottomUp; }

    // As it lies in memory.
    unsigned char* Bits(int plane = 0) const { return m_bits[plane]; }
    int Pitch(int plane = 0) const { return m_pitch[plane]; }
    size_t Bytes() const { return m_bytes; }

    IMG_PARAM Record() const; // the whole picture; plane 0's bits and pitch
    tagBITMAPINFOHEADER Header() const;

    // Waves and a little noise, the same for the same size and layout.
    void Draw() const;
    // Means over a grid of tiles, for each byte of a pixel apart: alike for pictures that show the same, in whatever
    // way they were rounded or shifted by parts of a pixel.
    std::vector<double> Means() const;

private:
    void PlanMemory();

    Layout m_layout;
    int m_width;
    int m_height;
    bool m_bottomUp;
    int m_pitch[3] = {};
    size_t m_bytes = 0;
    unsigned char* m_bits[3] = {};
    std::shared_ptr<unsigned char> m_memory;
};

#endif // ENCMGR_BENCH_IMAGE_H
