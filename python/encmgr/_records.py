"""The records of the C interface: include/encmgr/PluginRecords.h and encmgr_toolbox.h, field by field."""

from __future__ import annotations

import ctypes as c

DWORD = c.c_uint32

CLOSE_CALLBACK = c.CFUNCTYPE(c.c_uint, c.c_void_p, c.c_uint, c.c_uint, c.c_uint)
LOG_SINK = c.CFUNCTYPE(None, c.c_void_p, c.c_wchar_p)


class EncodeParamVideo(c.Structure):
    _fields_ = [
        ("dwFourCC", DWORD), ("nWidth", c.c_int), ("nHeight", c.c_int), ("dFrameRate", c.c_double),
        ("nBitRate", c.c_int), ("dwOptions", DWORD * 2), ("nResizeMethod", c.c_int), ("nInterpolation", c.c_int),
        ("nPixelAspectX", c.c_int), ("nPixelAspectY", c.c_int), ("dwColour", DWORD), ("nFieldOrder", c.c_int),
        ("nRotation", c.c_int), ("reserved", DWORD),
    ]


class EncodeParamAudio(c.Structure):
    _fields_ = [
        ("dwFourCC", DWORD), ("nSampleRate", c.c_int), ("nChannels", c.c_int), ("nBitRate", c.c_int),
        ("dwOptions", DWORD * 2), ("nBitsPerSample", c.c_int),
    ]


class EncodeParam(c.Structure):
    _fields_ = [
        ("video", EncodeParamVideo), ("audio", EncodeParamAudio), ("bVideoDisabled", c.c_int),
        ("bAudioDisabled", c.c_int), ("dwFileFourCC", DWORD),
    ]


class VideoInfo(c.Structure):
    _fields_ = [
        ("width", c.c_int), ("height", c.c_int), ("framerate", c.c_double), ("reserved1", DWORD),
        ("aspectx", c.c_int), ("aspecty", c.c_int), ("reserved2", DWORD * 3),
    ]


class AudioInfo(c.Structure):
    _fields_ = [("samplerate", c.c_int), ("channels", c.c_int), ("bitspersample", c.c_int)]


class FrameAudio(c.Structure):
    _fields_ = [
        ("nSampleRate", c.c_int), ("nChannels", c.c_int), ("nBitsPerSample", c.c_int), ("pData", c.c_void_p),
        ("nDataSize", c.c_int), ("nBufferSize", c.c_int),
    ]


class FrameVideo(c.Structure):
    _fields_ = [
        ("reserved1", DWORD * 2), ("pY", c.c_void_p), ("pU", c.c_void_p), ("pV", c.c_void_p), ("reserved2", DWORD),
        ("nWidth", c.c_int), ("nHeight", c.c_int), ("nPitchY", c.c_int), ("nPitchU", c.c_int), ("nPitchV", c.c_int),
    ]


class _FrameUnion(c.Union):
    _fields_ = [("audio", FrameAudio), ("video", FrameVideo)]


class MediaFrame(c.Structure):
    _anonymous_ = ["of"]
    _fields_ = [
        ("nFrameType", DWORD), ("of", _FrameUnion), ("reserved", DWORD * 2), ("llTimeStamp", c.c_int64),
        ("llStreamTime", c.c_int64), ("nDuration", c.c_int32),
    ]


class EncoderInfo(c.Structure):
    _fields_ = [("dwFourCC", DWORD), ("szName", c.c_wchar * 64), ("szDescription", c.c_wchar * 128)]


class FormatInfo(c.Structure):
    _fields_ = [
        ("dwFourCC", DWORD), ("szShortName", c.c_wchar * 10), ("szName", c.c_wchar * 64),
        ("szDescription", c.c_wchar * 128), ("nAudioEncoders", c.c_int), ("nVideoEncoders", c.c_int),
        ("ppAudioEncoders", c.POINTER(c.POINTER(EncoderInfo))), ("ppVideoEncoders", c.POINTER(c.POINTER(EncoderInfo))),
    ]


class Image(c.Structure):
    _fields_ = [("bits", c.c_void_p)] + [
        (name, c.c_int) for name in ("width", "height", "pitch", "bits_per_pixel", "x", "y", "cx", "cy")
    ]


class Planes(c.Structure):
    _fields_ = [(name, c.c_void_p) for name in "yuv"] + [
        (name, c.c_int) for name in ("pitch_y", "pitch_u", "pitch_v", "width", "height")
    ]


class Rgb(c.Structure):
    _fields_ = [("bits", c.c_void_p)] + [
        (name, c.c_int) for name in ("width", "height", "pitch", "bytes_per_pixel")
    ]
