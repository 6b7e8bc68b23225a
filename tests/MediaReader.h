// Reads a media file back through libavformat and libavcodec.
#ifndef ENCMGR_TESTS_MEDIA_READER_H
#define ENCMGR_TESTS_MEDIA_READER_H

#include <cstdint>
#include <string>
#include <vector>

// A decoded planar 4:2:0 picture, its three planes without padding, one behind the other: Y, U, V. A picture of a
// single PNG file has R, G and B of each pixel there. Other pixel formats are brought to 4:2:0 of limited range.
struct DecodedPicture {
    double seconds;
    int width;
    int height;
    std::vector<unsigned char> planes;

    double MeanLuma(int rows) const; // of the first rows
};

// What the file and its first picture say of the pictures, by the words of EncodeParamVideo; 0 where nothing is said.
struct DecodedSignal {
    int range = 0, matrix = 0, primaries = 0, transfer = 0, fields = 0, rotation = 0;
};

struct DecodedFile {
    std::vector<DecodedPicture> pictures;
    std::vector<int16_t> samples; // interleaved
    int sampleRate = 0;
    int channels = 0;
    double firstSampleSeconds = 0;
    double frameRate = 0; // as the file tells it
    double pixelAspect = 0;
    DecodedSignal signal;
    double start = 0; // the time that MPEG-TS and MP3, whose clocks start anywhere, give to the first of all

    double AudioSeconds() const { return static_cast<double>(samples.size()) / channels / sampleRate; }
};

// Fails the running test, and returns what there is, if the file can't be read to its end.
DecodedFile ReadMedia(const std::string& path);

#endif // ENCMGR_TESTS_MEDIA_READER_H
