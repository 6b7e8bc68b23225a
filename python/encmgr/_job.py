"""One job: pictures and samples in, a file out."""

from __future__ import annotations

import contextlib
import ctypes as c
import errno
import os
import re
import threading
import weakref
from dataclasses import dataclass, field
from fractions import Fraction
from types import TracebackType
from typing import Any, Iterator, Optional, Type, Union

import numpy as np

from . import _library, _pictures
from . import _records as r
from ._errors import EncodeError
from ._output import Output

Number = Union[int, float, Fraction]

_TICKS = 10_000_000  # the library's units of time in a second
_MOST_SECONDS = 10**9
_BLOCK = 4096  # samples that are handed over at once, so that audio and pictures stay close in the file
_LOST = re.compile("Create (video|audio) encoder failure")  # the library goes on without that stream
_REFUSED = {errno.ENOSPC, errno.EDQUOT, errno.EFBIG, errno.EPIPE, errno.EIO, errno.EROFS, errno.ENXIO, errno.ENODEV,
            errno.ESTALE, errno.ETIMEDOUT, errno.ECONNRESET}


@dataclass
class CloseReport:
    """What became of a file.

    Attributes:
        path: where it is.
        pictures: pictures in it, repeated ones too.
        audio_seconds: length of its audio.
        size: bytes; 0 where it is no plain file.
        complete: whether the format says that it is whole; None if the format says nothing.
        pictures_in, dropped: pictures that were handed over, and those of them that aren't in the file, since two fell on
            one place.
        log: what the library logged from the opening on, the oldest first.
    """

    path: str
    pictures: int = 0
    audio_seconds: float = 0.0
    size: int = 0
    complete: Optional[bool] = None
    pictures_in: int = 0
    dropped: int = 0
    log: list[str] = field(default_factory=list, repr=False)


@dataclass
class JobPlan:
    """All that the library is told when a job is set up."""

    param: r.EncodeParam
    video: Optional[r.VideoInfo]
    audio: Optional[r.AudioInfo]
    rate: Fraction  # of the pictures that come
    rgb: bool  # whether the file's colours are those that RGB becomes


class _State:
    """The library's handle and the file, which end together; apart from the job, so that they outlive it."""

    def __init__(self, handle: int, output: Output) -> None:
        self.handle: Optional[int] = handle
        self.output = output
        self.process = os.getpid()

    def end(self) -> tuple[Optional[bool], int, int]:
        """Closes the library's job: whether it is complete, its pictures, its milliseconds of audio."""
        said: list[tuple[Optional[bool], int, int]] = []

        @r.CLOSE_CALLBACK
        def take(_context: Any, failed: int, pictures: int, milliseconds: int) -> int:
            said.append((failed == 0, pictures, milliseconds))
            return 0

        handle, self.handle = self.handle, None
        _library.library().job.FCCloseMediaFile(handle, take, None)
        return said[-1] if said else (None, 0, 0)

    def abandon(self) -> None:
        """For a job that nobody has closed. In a forked child it is the parent's."""
        if self.handle is not None and os.getpid() == self.process:
            self.end()
            self.output.discard()


def _ticks(seconds: Number) -> int:
    try:
        time = Fraction(seconds)
    except (TypeError, ValueError, OverflowError):
        raise ValueError(f"time={seconds!r}; a number of seconds is needed") from None
    if not 0 <= time <= _MOST_SECONDS:
        raise ValueError(f"time={seconds!r}; seconds are from 0 to {_MOST_SECONDS}")
    return round(time * _TICKS)


class Job:
    """A file that is being written; :func:`encmgr.open` makes it, and a ``with`` block ends it.

    When the block ends, the file is finished and takes its name. When an exception leaves the block, what was written
    goes, and a file that had the name before stays as it was; :meth:`close` beforehand keeps the part. One thread at a
    time uses a job: a call during another thread's call raises RuntimeError.

    Attributes:
        report: the :class:`CloseReport`, from the close on; None before.
    """

    def __init__(self, output: Output, plan: JobPlan) -> None:
        lib = _library.plugins()
        self._lib = lib
        self._plan = plan
        self._output = output
        self._busy = threading.Lock()
        self._mark = lib.log.mark()
        self._pictures = self._dropped = self._samples = 0
        self._planes: Optional[_pictures.Planes] = None
        self._refused = 0
        self.report: Optional[CloseReport] = None
        output.create()
        c.set_errno(0)
        handle = lib.job.FCCreateMediaFile(output.write_path, plan.param, plan.video, plan.audio)
        failure = c.get_errno()
        log = self._log()
        lost = any(_LOST.search(line) for line in log)
        if handle:
            self._state = _State(handle, output)
            self._finalizer = weakref.finalize(self, self._state.abandon)
        if handle and lost:
            self._finalizer()
            raise EncodeError(f"{output.path}: an encoder can't be set up", log)
        if not handle:
            output.discard()
            number = failure if failure in _REFUSED else 0
            raise EncodeError(f"{output.path} can't be created" + (f": {os.strerror(number)}" if number else ""), log,
                              number)

    def _log(self) -> list[str]:
        return self._lib.log.since(self._mark)

    @contextlib.contextmanager
    def _use(self) -> Iterator[int]:
        """The handle, for this thread alone. Raises RuntimeError."""
        if not self._busy.acquire(blocking=False):
            raise RuntimeError("another call uses the job at this moment; one thread at a time may")
        try:
            if self._state.process != os.getpid():
                raise RuntimeError("the job belongs to the process that opened it")
            if self._state.handle is None:
                raise RuntimeError("the job is closed")
            yield self._state.handle
        finally:
            self._busy.release()

    def __enter__(self) -> "Job":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        if kind is None:
            self.close()
        else:
            self.abort()

    def __repr__(self) -> str:
        state = "open" if self._state.handle is not None else "closed"
        return f"<encmgr.Job {self._output.path!r}, {state}, {self._pictures} pictures, {self._samples} samples>"

    @property
    def closed(self) -> bool:
        return self._state.handle is None

    # ---- writing ----

    def write(self, frame: _pictures.Picture, time: Optional[Number] = None) -> int:
        """Writes one picture.

        Args:
            frame: RGB, (height, width, 3); RGBA, (height, width, 4), whose alpha isn't used; planes (Y, U, V); or
                I420, (height * 3 // 2, width). ``uint8``, rows from the top, of the source's size. Arrays are read in
                place where pixels and samples of a row lie side by side, at any distance from row to row.
            time: seconds from the start of the file at which the picture is shown. Without it the picture follows the
                one before at the source's rate.

        Returns:
            How often the picture was written: 0 where two pictures fall on one place, 2 and more to fill a gap.
        """
        with self._use() as handle:
            if self._plan.video is None:
                raise ValueError("the job has no video: give encmgr.open a size")
            picture = _pictures.checked(frame)
            size = (self._plan.video.width, self._plan.video.height)
            if _pictures.size_of(picture) != size:
                raise ValueError("the picture has %dx%d pixels; those of this job have %dx%d"
                                 % (*_pictures.size_of(picture), *size))
            ticks = self._pictures * _TICKS // self._plan.rate if time is None else _ticks(time)
            if _pictures.is_rgb(picture):
                picture = self._converted(picture)
            media = self._video_frame(picture, ticks)
            mark = self._lib.log.mark()
            c.set_errno(0)
            result = self._lib.job.FCWriteVideoFrame(handle, media)
            if result <= 0:
                self._raise_if_refused("a picture", self._lib.log.since(mark))
                self._dropped += 1
            self._pictures += 1
            return max(result, 0)

    def _converted(self, picture: np.ndarray) -> _pictures.Planes:
        if not self._plan.rgb:
            raise ValueError('RGB becomes YUV by BT.601 of limited range; this file says otherwise (matrix, full_range)')
        if self._planes is None:
            self._planes = _pictures.new_planes(*_pictures.size_of(picture))
        _pictures.rgb_into_planes(picture, self._planes)
        return self._planes

    def _video_frame(self, planes: _pictures.Planes, ticks: int) -> r.MediaFrame:
        y, u, v = planes
        media = r.MediaFrame(llTimeStamp=ticks, llStreamTime=ticks)
        video = media.video
        video.nWidth, video.nHeight = y.shape[1], y.shape[0]
        video.pY, video.pU, video.pV = y.ctypes.data, u.ctypes.data, v.ctypes.data
        video.nPitchY, video.nPitchU, video.nPitchV = map(_pictures.pitch_of, planes)
        media.nDuration = min(int(_TICKS / self._plan.rate), 2**31 - 1)
        return media

    def write_audio(self, samples: Any, time: Optional[Number] = None) -> int:
        """Writes samples.

        Args:
            samples: an array of shape (samples, channels), or (samples,) where there is one channel; ``int16``, or
                ``float32`` or ``float64`` from -1 to 1, which is rounded to 16 bits; what lies beyond is clipped.
            time: seconds from the start of the file at which the first of them is heard. Without it they follow those
                before. What is left out between two blocks is filled, what overlaps is cut.

        Returns:
            How many samples of each channel were taken.
        """
        with self._use() as handle:
            if self._plan.audio is None:
                raise ValueError("the job has no audio: give encmgr.open audio=encmgr.Audio(rate, channels)")
            block = _samples16(samples, self._plan.audio.channels)
            rate = self._plan.audio.samplerate
            start = self._samples if time is None else round(Fraction(_ticks(time) * rate, _TICKS))
            count = len(block)
            if self._plan.video is None:  # without pictures the library keeps no clock
                silence = np.zeros((_BLOCK, block.shape[1]), np.int16)
                while self._samples < start:
                    self._write_samples(handle, silence[:start - self._samples], self._samples)
                block = block[self._samples - start:]
                start = self._samples
            self._write_samples(handle, block, start)
            return count

    def _write_samples(self, handle: int, samples: np.ndarray, start: int) -> None:
        rate = self._plan.audio.samplerate
        for done in range(0, len(samples), _BLOCK):
            part = samples[done:done + _BLOCK]
            ticks = round(Fraction((start + done) * _TICKS, rate))
            media = r.MediaFrame(llTimeStamp=ticks, llStreamTime=ticks, nDuration=len(part) * _TICKS // rate)
            media.audio = r.FrameAudio(rate, part.shape[1], 16, part.ctypes.data, part.nbytes, part.nbytes)
            mark = self._lib.log.mark()
            c.set_errno(0)
            # A block that is cut as a whole gives 0, too, and a line.
            if self._lib.job.FCWriteAudioData(handle, media) <= 0 and c.get_errno() in _REFUSED:
                self._raise_if_refused("audio", self._lib.log.since(mark))
            self._samples = start + done + len(part)

    def _raise_if_refused(self, what: str, log: list[str]) -> None:
        """A picture that isn't due leaves neither an error number of the system nor a line."""
        number = c.get_errno() if c.get_errno() in _REFUSED else 0
        self._refused = self._refused or number
        if number or log:
            raise EncodeError(f"{self._output.path}: {what} can't be written"
                              + (f": {os.strerror(number)}" if number else ""), log, number)

    # ---- the end ----

    def close(self) -> CloseReport:
        """Finishes the file and gives it its name. A second call returns the same report.

        Raises:
            EncodeError: the file isn't whole, or empty; nothing is left of it then, and the one that had the name stays.
        """
        if self.report is not None:
            return self.report
        with self._use():
            self._finalizer.detach()
            c.set_errno(0)
            complete, pictures, milliseconds = self._state.end()
            number = self._refused or (c.get_errno() if c.get_errno() in _REFUSED else 0)
            log = self._log()
            try:
                if not self._pictures and not self._samples:
                    raise EncodeError(f"{self._output.path}: nothing was written", log)
                if complete is False:
                    raise EncodeError(f"{self._output.path}: the file isn't whole"
                                      + (f": {os.strerror(number)}" if number else ""), log, number)
                self._output.publish()
            finally:
                self._output.discard()  # nothing is left to discard of a file that has its name
            self.report = CloseReport(self._output.path, pictures, milliseconds / 1000, self._output.size(), complete,
                                      self._pictures, self._dropped, log)
            return self.report

    def abort(self) -> None:
        """Ends the job and takes away what was written. Does nothing to a job that is closed."""
        if not self.closed:
            with self._use():
                self._finalizer()


def _samples16(samples: Any, channels: int) -> np.ndarray:
    """Contiguous int16 of shape (samples, channels). Raises TypeError or ValueError."""
    array = np.asarray(samples)
    if array.ndim == 1 and channels == 1:
        array = array[:, None]
    if array.ndim != 2 or array.shape[1] != channels:
        raise ValueError(f"samples of the shape {array.shape}; (samples, {channels}) is needed")
    if array.dtype in (np.float32, np.float64):
        if not np.isfinite(array).all():
            raise ValueError("samples that are no numbers, or infinite")
        array = np.clip(np.rint(array * array.dtype.type(32768)), -32768, 32767).astype(np.int16)
    elif array.dtype != np.int16:
        raise TypeError(f"samples of {array.dtype}; int16, or float32 or float64 from -1 to 1, are needed")
    return np.ascontiguousarray(array)
