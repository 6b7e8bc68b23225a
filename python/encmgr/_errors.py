"""The exceptions of the package, which carry what the library has logged."""

from __future__ import annotations

from typing import Sequence


class Error(Exception):
    """Something that the library refused.

    Attributes:
        log: the lines that the library and its plug-ins logged on the way, the oldest first. They are part of the text,
            too.
        errno: the system's number for a write that it refused (``errno.ENOSPC``), otherwise 0.
    """

    def __init__(self, message: str, log: Sequence[str] = (), errno: int = 0) -> None:
        super().__init__("\n  ".join([message, *log]))
        self.log = list(log)
        self.errno = errno


class LibraryError(Error):
    """The library or its plug-ins can't be found or loaded."""


class EncodeError(Error):
    """A job can't be set up, or its file can't be written."""
