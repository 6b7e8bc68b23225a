"""Finds and loads the libraries, keeps their log, and loads the plug-ins when they are needed first."""

from __future__ import annotations

import atexit
import collections
import ctypes as c
import functools
import glob
import logging
import os
import sys
import threading
from pathlib import Path
from typing import Iterator, NamedTuple, Optional

from . import _records as r
from ._errors import LibraryError

_logger = logging.getLogger("encmgr")


class Log:
    """The library's last lines. Any thread may add some."""

    def __init__(self) -> None:
        self._lines: collections.deque[tuple[int, str]] = collections.deque(maxlen=1000)
        self._count = 0
        self._lock = threading.Lock()
        self.sink = r.LOG_SINK(self._take)  # kept as long as the library may call it

    def _take(self, _context: Optional[int], text: Optional[str]) -> None:
        line = " ".join((text or "").split())
        with self._lock:
            self._count += 1
            self._lines.append((self._count, line))
        if _logger.isEnabledFor(logging.DEBUG):
            _logger.debug("%s", line)

    def mark(self) -> int:
        """The place in the log that is reached."""
        return self._count

    def since(self, mark: int) -> list[str]:
        """What came behind a place."""
        with self._lock:
            return [line for number, line in self._lines if number > mark and line]


class Library(NamedTuple):
    """The functions of the three libraries, by their names in C."""

    log: Log
    log_library: c.CDLL
    job: c.CDLL
    toolbox: c.CDLL
    folder: str  # holds PlugIns


# Shared libraries, as they are called without and with the package for developers.
_MAIN = ("libEncMgr.so", "libEncMgr.so.0")
_TOOLBOX = ("libencmgr_toolbox.so", "libencmgr_toolbox.so.0")
_LOG = ("libLog.so", "libLog.so.0")


def _first(folder: Path, names: tuple[str, ...]) -> Optional[Path]:
    return next((folder / name for name in names if (folder / name).is_file()), None)


def _candidates() -> Iterator[Path]:
    here = Path(__file__).resolve().parent
    yield here
    checkout = here.parent.parent
    if (checkout / "include" / "encmgr" / "EncMgr.h").is_file():
        yield checkout / "build" / "release" / "bin"
        yield checkout / "build" / "bin"
    for prefix in dict.fromkeys((sys.prefix, "/usr/local", "/usr")):
        for lib in ("lib", "lib64", *sorted(glob.glob("lib/*-linux-gnu", root_dir=prefix))):
            yield Path(prefix, lib)


class _Paths(NamedTuple):
    main: Path
    toolbox: Path
    log: Path
    application: Path  # holds PlugIns


def _paths_in(folder: Path) -> Optional[_Paths]:
    """The libraries in a folder; the log and PlugIns lie there, or in encmgr/ of an installed prefix."""
    main, toolbox = _first(folder, _MAIN), _first(folder, _TOOLBOX)
    for application in (folder, folder / "encmgr"):
        log = _first(application, _LOG)
        if main and toolbox and log:
            return _Paths(main, toolbox, log, application)
    return None


def _find() -> _Paths:
    chosen = os.environ.get("ENCMGR_LIBRARY")
    folders = [Path(chosen)] if chosen else list(_candidates())
    for folder in folders:
        paths = _paths_in(folder.absolute())
        if paths:
            return paths
    tried = "".join(f"\n  {folder}" for folder in folders)
    raise LibraryError(
        f"libEncMgr.so, libencmgr_toolbox.so and libLog.so (here or in encmgr/) aren't in{tried}\n"
        "The variable ENCMGR_LIBRARY names another folder, build/release/bin of a checkout for instance."
    )


_SCALERS = ("nearest_32", "bilinear_32", "convolution_32", "bilinear_8")


def _declare(job: c.CDLL, toolbox: c.CDLL, log: c.CDLL) -> None:
    job.FCGetFileFormatInfos.restype = c.POINTER(r.FormatInfo)
    job.FCCreateMediaFile.restype = c.c_void_p
    job.FCCreateMediaFile.argtypes = [c.c_wchar_p, c.POINTER(r.EncodeParam), c.POINTER(r.VideoInfo),
                                      c.POINTER(r.AudioInfo)]
    for write in (job.FCWriteVideoFrame, job.FCWriteAudioData):
        write.argtypes = [c.c_void_p, c.POINTER(r.MediaFrame)]
    job.FCCloseMediaFile.restype = job.FCUninitPlugins.restype = None
    job.FCCloseMediaFile.argtypes = [c.c_void_p, r.CLOSE_CALLBACK, c.c_void_p]
    log.KXLogSetSink.restype = log.KXLogSetAppPath.restype = None
    log.KXLogSetSink.argtypes = [r.LOG_SINK, c.c_void_p]
    log.KXLogSetAppPath.argtypes = [c.c_wchar_p]
    for scaler in _SCALERS:
        getattr(toolbox, "encmgr_" + scaler).argtypes = [c.POINTER(r.Image)] * 2
    toolbox.encmgr_scale_i420.argtypes = [c.POINTER(r.Planes), c.c_void_p, c.POINTER(r.Planes), c.c_void_p, c.c_int]
    toolbox.encmgr_rgb_to_i420.argtypes = [c.POINTER(r.Rgb), c.POINTER(r.Planes)]
    toolbox.encmgr_i420_to_rgb.argtypes = [c.POINTER(r.Planes), c.POINTER(r.Rgb)]


_loading = threading.RLock()


def _once(function):
    """Cached, and run by one thread alone."""
    cached = functools.lru_cache(maxsize=None)(function)

    @functools.wraps(function)
    def call():
        with _loading:
            return cached()

    return call


@_once
def library() -> Library:
    """The libraries, without plug-ins. Raises LibraryError."""
    paths = _find()
    try:
        # The log first: the others lead to it by its name.
        log_library, job, toolbox = (c.CDLL(str(path), use_errno=True) for path in (paths.log, paths.main, paths.toolbox))
        _declare(job, toolbox, log_library)
    except (OSError, AttributeError) as error:
        raise LibraryError(f"{paths.main} can't be loaded: {error}") from error
    log = Log()
    log_library.KXLogSetSink(log.sink, None)
    # No line may come when there is no interpreter any more.
    atexit.register(log_library.KXLogSetSink, r.LOG_SINK(), None)
    return Library(log, log_library, job, toolbox, str(paths.application))


@_once
def plugins() -> Library:
    """The libraries with their plug-ins. Raises LibraryError."""
    lib = library()
    mark = lib.log.mark()
    lib.log_library.KXLogSetAppPath(lib.folder)
    if not lib.job.FCInitPlugins() or not lib.job.FCGetFileFormatInfos():
        lib.job.FCUninitPlugins()
        raise LibraryError(f"no plug-in with a file format in {lib.folder}/PlugIns", lib.log.since(mark))
    owner = os.getpid()

    def unload() -> None:
        if os.getpid() == owner:
            lib.job.FCUninitPlugins()

    # What jobs register comes behind, and so runs before.
    atexit.register(unload)
    return lib
