// Brings the library's pictures to the pixel format of an encoder.
#ifndef ENCMGR_PLUGINS_AV_PICTURE_CONVERTER_H
#define ENCMGR_PLUGINS_AV_PICTURE_CONVERTER_H

#include "encmgr/PluginRecords.h"
#include "plugins/av/Av.h"

class PictureConverter
{
public:
    // For pictures of 4:2:0 and 8 bits that are what the job says, to become such as the output: its size, pixel
    // format, range and matrix. Negative, an error of libav, if there is no such conversion.
    int Open(const EncodeParamVideo& video, const AVFrame& output);

    // Whether the encoder takes other pictures than the library's.
    bool IsNeeded() const { return m_context != nullptr; }

    // The picture to fill for Convert; its rows have the room behind them that libswscale reads.
    AVFrame& Input() { return *m_input; }
    int Convert(AVFrame& output);

private:
    SwsContextPtr m_context;
    FramePtr m_input;
    int m_fields = 1; // fields are converted apart, so that their colours don't mix
};

#endif // ENCMGR_PLUGINS_AV_PICTURE_CONVERTER_H
