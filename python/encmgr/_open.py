"""From what a user says of a file to what the library is told."""

from __future__ import annotations

import ctypes as c
import os
from dataclasses import dataclass
from fractions import Fraction
from typing import Any, Mapping, Optional, Union

from . import _formats, _pictures
from . import _records as r
from ._job import Job, JobPlan, Number
from ._output import Output

_FITS = {"stretch": 0, "keep": 1, "16:9": 2, "4:3": 3, "crop": 5}
_SCALINGS = {"bilinear": 2, "nearest": 1}
_MATRICES = {"bt601": 6, "bt709": 1, "bt2020": 9}  # code points of ISO/IEC 23091-2
_MOST_SIDE = 16384
_MOST_RATE = 200

Options = Mapping[str, Union[str, int, float]]


@dataclass(frozen=True)
class Audio:
    """What a file's audio is to be.

    Attributes:
        rate: samples per second and channel, in Hz.
        channels: 1, 2, or as many as the encoder takes.
        encoder: a FourCC or name of :func:`encmgr.formats`; None takes the format's first.
        bit_rate: bits per second; 0 is the encoder's usual one.
        options: the encoder's and the format's own, as text or numbers.
        source_rate, source_channels: of the samples that are written, where they differ. Between 1 and 2 channels the
            library converts. It has no low-pass filter, so bring audio to a lower rate yourself.
    """

    rate: int
    channels: int = 2
    encoder: Optional[str] = None
    bit_rate: int = 0
    options: Optional[Options] = None
    source_rate: Optional[int] = None
    source_channels: Optional[int] = None


def _word(value: Any, words: Mapping[str, int], what: str) -> int:
    if not isinstance(value, str) or value not in words:
        raise ValueError(f"{what}={value!r}; there are: {', '.join(words)}")
    return words[value]


def _integer(value: Any, least: int, most: int, what: str) -> int:
    if isinstance(value, bool) or not hasattr(value, "__index__"):
        raise TypeError(f"{what}={value!r}; a whole number is needed")
    if not least <= value.__index__() <= most:
        raise ValueError(f"{what}={value!r}; it is from {least} to {most}")
    return value.__index__()


def _rate(value: Any, what: str) -> Fraction:
    try:
        rate = Fraction(value)
    except (TypeError, ValueError, OverflowError, ZeroDivisionError):
        raise TypeError(f"{what}={value!r}; a number or a Fraction is needed") from None
    if not Fraction(1, 100) <= rate <= _MOST_RATE:
        raise ValueError(f"{what}={value!r}; pictures per second are from 0.01 to {_MOST_RATE}")
    return rate


def _escaped(text: str) -> str:
    return "".join("\\" + ch if ch in "\\:=" else ch for ch in text)


def _options(options: Optional[Options], words: Any, what: str) -> Optional[c.Array]:
    """Puts the address of the text into the two words; the text is to be kept until the job is set up."""
    if not options:
        return None
    if not isinstance(options, Mapping) or not all(isinstance(key, str) and key for key in options):
        raise TypeError(f"{what}={options!r}; a dict of names and values is needed")
    text = ":".join(f"{_escaped(key)}={_escaped(str(value))}" for key, value in options.items())
    if "\0" in text:
        raise ValueError(f"{what} has a zero in a text")
    buffer = c.create_string_buffer(text.encode("utf-8"))
    address = c.addressof(buffer)
    words[0], words[1] = address & 0xFFFFFFFF, address >> 32
    return buffer


def open(  # pylint: disable=redefined-builtin
    path: Union[str, "os.PathLike[str]"],
    *,
    size: Optional[tuple[int, int]] = None,
    rate: Number = 25,
    video: Optional[str] = None,
    audio: Optional[Audio] = None,
    format: Optional[str] = None,  # pylint: disable=redefined-builtin
    bit_rate: int = 0,
    options: Optional[Options] = None,
    source_size: Optional[tuple[int, int]] = None,
    source_rate: Optional[Number] = None,
    fit: str = "keep",
    scaling: str = "bilinear",
    pixel_aspect: Optional[tuple[int, int]] = None,
    matrix: str = "bt601",
    full_range: bool = False,
) -> Job:
    """Opens a file for pictures, for audio, or for both.

    Args:
        path: the file; it is written under a name of its own beside it and renamed at the close, over a file that is
            there. "out-%05d.png" numbers pictures.
        size: (width, height) of the file's pictures in pixels; without it there is no video.
        rate: the file's pictures per second, 0.01 to 200: a number or ``Fraction(30000, 1001)``.
        video: the video encoder by FourCC or name as in :func:`encmgr.formats`; None takes the format's first.
        audio: an :class:`Audio`; without it there is none.
        format: the file format by FourCC or name; None goes by the path's ending.
        bit_rate: of the video, bits per second; 0 is the encoder's usual quality.
        options: the video encoder's and the format's own, ``{"crf": 20, "preset": "slow"}``; one that is unknown
            refuses the job.
        source_size: (width, height) of the pictures that are written, where the library shall scale them to ``size``.
        source_rate: their rate, where it differs: at 12.5 for a file of 25 each is written twice.
        fit: into another shape: "keep" (bars), "stretch", "crop", "16:9" or "4:3".
        scaling: "bilinear" or "nearest".
        pixel_aspect: width and height of a pixel, (16, 15) for instance.
        matrix, full_range: the colours of planar pictures, for the file to state: "bt601", "bt709" or "bt2020"; luma
            from 0 to 255 instead of 16 to 235. RGB becomes BT.601 of limited range, and can be written to no other.

    Returns:
        A :class:`Job`, to be used in a ``with`` block.

    Raises:
        TypeError, ValueError: an argument is no good; nothing was touched.
        OSError: the file can't be made.
        EncodeError: the library or a plug-in refuses, and its log says why.
        LibraryError: there is no library, or no plug-in.
    """
    if audio is not None and not isinstance(audio, Audio):
        raise TypeError(f"audio={audio!r}; an encmgr.Audio is needed")
    if size is None and audio is None:
        raise ValueError("neither size nor audio: there is nothing to write")
    output = Output(path)
    form = _formats.format_for(output.path, format)
    param = r.EncodeParam(bVideoDisabled=1, bAudioDisabled=1)
    param.dwFileFourCC = _formats.fourcc_code(form.fourcc)
    plan = JobPlan(param, None, None, _rate(rate if source_rate is None else source_rate, "rate"), False)
    kept = []  # the texts of options
    if size is not None:
        width, height = _pictures.checked_size(size, 1, _MOST_SIDE)
        param.bVideoDisabled = 0
        out = param.video
        out.dwFourCC = _formats.fourcc_code(_formats.encoder_of(form, "video", video).fourcc)
        out.nWidth, out.nHeight = width, height
        out.dFrameRate = float(_rate(rate, "rate"))
        out.nBitRate = _integer(bit_rate, 0, 2**31 - 1, "bit_rate")
        out.nResizeMethod, out.nInterpolation = _word(fit, _FITS, "fit"), _word(scaling, _SCALINGS, "scaling")
        if pixel_aspect is not None:
            out.nPixelAspectX, out.nPixelAspectY = _pictures.checked_size(pixel_aspect, 1, 65535, "pixel_aspect")
        out.dwColour = (2 if full_range else 1) | _word(matrix, _MATRICES, "matrix") << 8
        plan.rgb = matrix == "bt601" and not full_range
        kept.append(_options(options, out.dwOptions, "options"))
        source = (width, height)
        if source_size is not None:
            source = _pictures.checked_size(source_size, 1, _MOST_SIDE, "source_size")
        plan.video = r.VideoInfo(*source, float(plan.rate))
    elif video is not None:
        raise ValueError("a video encoder, but no size")
    if audio is not None:
        param.bAudioDisabled = 0
        sound = param.audio
        sound.dwFourCC = _formats.fourcc_code(_formats.encoder_of(form, "audio", audio.encoder).fourcc)
        sound.nSampleRate = _integer(audio.rate, 1, 768000, "Audio.rate")
        sound.nChannels = _integer(audio.channels, 1, 64, "Audio.channels")
        sound.nBitRate = _integer(audio.bit_rate, 0, 2**31 - 1, "Audio.bit_rate")
        sound.nBitsPerSample = 16
        kept.append(_options(audio.options, sound.dwOptions, "Audio.options"))
        plan.audio = r.AudioInfo(
            _integer(sound.nSampleRate if audio.source_rate is None else audio.source_rate, 1, 768000,
                     "Audio.source_rate"),
            _integer(sound.nChannels if audio.source_channels is None else audio.source_channels, 1, 64,
                     "Audio.source_channels"), 16)
        if plan.audio.channels != sound.nChannels and max(plan.audio.channels, sound.nChannels) > 2:
            raise ValueError("the library converts between one and two channels only")
    return Job(output, plan)
