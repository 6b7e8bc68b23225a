// wpraw's two formats. Both encode their stream themselves, which here means that they write it as it is, so their
// write slots receive frames and their encoders are names in the catalogue.
//
// Close callback of both: n1 is 0 if the file is complete and every write succeeded, otherwise 1; n2 counts the
// pictures in the file; n3 is the length of its audio in milliseconds. The result isn't read.
#ifndef ENCMGR_PLUGINS_RAW_FILES_H
#define ENCMGR_PLUGINS_RAW_FILES_H

#include "encmgr/PluginRecords.h"

constexpr KXDWORD kRawVideo = KX_FOURCC('I', '4', '2', '0');
constexpr KXDWORD kRawAudio = KX_FOURCC('P', 'C', 'M', ' ');

// "Y4M ": a YUV4MPEG2 stream. 4:2:0 of any size, odd ones too.
FILEFORMAT_ITEM Y4mFormat();
// Refuses sizes of 0 or less and frame rates that are none; makes the rate the exact one that the file states.
int ReviseRawVideo(EncodeParam* pParam);

// "WAV ": RIFF/WAVE, 16 bits, any number of channels; RF64 (EBU Tech 3306) from 4 GiB on.
FILEFORMAT_ITEM WavFormat();
// Refuses rates and channel counts of 0 or less, brings others into the format's range, and settles on 16 bits.
int ReviseRawAudio(EncodeParamAudio* pAudio);

#endif // ENCMGR_PLUGINS_RAW_FILES_H
