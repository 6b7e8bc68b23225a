// What the numbers in a picture mean as colours, in the code points of ISO/IEC 23091-2, which are libav's too.
#ifndef ENCMGR_HOST_PICTURE_COLOUR_H
#define ENCMGR_HOST_PICTURE_COLOUR_H

struct AVCodecParameters;

namespace host
{

struct PictureColour {
    int matrix = 0; // between RGB and YUV; 0 in each: not said
    int primaries = 0;
    int transfer = 0;
};

// True if untagged pictures of this size are taken for BT.709 by players, and for BT.601 otherwise.
bool IsHighDefinition(int width, int height);

// The matrix by which pictures of this size that name none are understood: BT.709 or BT.601.
int UsualMatrix(int width, int height);

// What a video stream's pictures are once they are YUV. The matrix is always said: RGB and streams that name none have
// the usual one.
PictureColour ColourOf(const AVCodecParameters& stream);

// "PQ" or "HLG" where the transfer is one of high dynamic range, otherwise null.
const char* HdrTransferName(const PictureColour& colour);

} // namespace host

#endif // ENCMGR_HOST_PICTURE_COLOUR_H
