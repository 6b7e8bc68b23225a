#include "Common/Image/ImageConvert.h"
#include "encmgr/Log.h"

#include <limits>
#include <vector>

void xTraceImage(tagBITMAPINFO* lpBmi, unsigned char* lpBits)
{
    if (!lpBmi)
        return;
    tagBITMAPINFOHEADER header = lpBmi->bmiHeader;
    const int64_t width = header.biWidth;
    const int64_t height = header.biHeight;
    if (width <= 0 || height <= 0)
        return;
    // All positions in the block and in the bitmap fit 32 bits if the bitmap does: it has at least the block's size.
    const int64_t stride = (width * 24 + 31) / 32 * 4;
    if (stride > std::numeric_limits<int32_t>::max() / height)
        return;

    header.biBitCount = 24;
    header.biCompression = 0; // BI_RGB
    header.biSizeImage = static_cast<uint32_t>(stride * height);
    if (!lpBits)
        lpBits = reinterpret_cast<unsigned char*>(lpBmi) + sizeof(header);

    const auto cw = static_cast<int>((width + 1) / 2);
    const int64_t cSize = cw * ((height + 1) / 2);
    unsigned char* const pV = lpBits + width * height;
    std::vector<unsigned char> picture(header.biSizeImage);
    Yuv420_2_rgb24(&header, picture.data(), lpBits, pV + cSize, pV, static_cast<int>(width), cw, cw);
    KXTraceImage(&header, picture.data());
}
