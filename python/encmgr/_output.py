"""The file that a job writes: under a name of its own until it is good."""

from __future__ import annotations

import os
import re
import secrets
import stat
from typing import Optional

from ._errors import EncodeError

_MOST_NAME = 200  # bytes that are kept of a long name


class Output:
    """A plain file is written beside its target, as "out.part-1f3a9c.mkv", and takes its name at the end. Devices,
    pipes and sequences of pictures ("%03d") are written directly."""

    def __init__(self, path: "str | os.PathLike[str]") -> None:
        self.path = os.fsdecode(path)
        if not self.path or "\0" in self.path:
            raise ValueError(f"{self.path!r} is no name of a file")
        try:
            self.path.encode("utf-8")
        except UnicodeEncodeError:
            raise ValueError(f"{self.path!r}: the name isn't UTF-8") from None
        if os.path.isdir(self.path):
            raise IsADirectoryError(f"{self.path} is a folder")
        self.write_path = self.path
        self._target: Optional[str] = None

    def create(self) -> None:
        """Makes the temporary file. Raises OSError."""
        before = None
        if os.path.exists(self.path):
            before = os.stat(self.path)
            if not os.access(self.path, os.W_OK):
                raise PermissionError(f"{self.path} can't be written")
        sequence = re.search(r"%0?\d*d", os.path.basename(self.path))
        if sequence or (before and not stat.S_ISREG(before.st_mode)):
            return
        target = os.path.realpath(self.path)
        folder, name = os.path.split(target)
        stem, ending = os.path.splitext(name)
        stem = os.fsencode(stem)[:_MOST_NAME].decode("utf-8", "ignore")
        temporary = os.path.join(folder, f"{stem}.part-{secrets.token_hex(4)}{ending}")
        descriptor = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o666)
        try:
            if before:
                os.fchmod(descriptor, stat.S_IMODE(before.st_mode) & 0o777)
        finally:
            os.close(descriptor)
        self._target, self.write_path = target, temporary

    def publish(self) -> None:
        """Brings the finished file to the disk and gives it its name. Raises OSError or EncodeError."""
        if self._target is None:
            return
        descriptor = os.open(self.write_path, os.O_RDWR | os.O_CLOEXEC)
        try:
            if not os.fstat(descriptor).st_size:
                raise EncodeError(f"{self.path}: the file is empty")
            os.fsync(descriptor)
        finally:
            os.close(descriptor)
        os.replace(self.write_path, self._target)
        self._target, self.write_path = None, self.path

    def discard(self) -> None:
        """Takes away what isn't finished; the file that had the name before stays."""
        if self._target is not None:
            try:
                os.unlink(self.write_path)
            except OSError:
                pass
        self._target, self.write_path = None, self.path

    def size(self) -> int:
        """Bytes of a plain file, otherwise 0."""
        try:
            status = os.stat(self.write_path)
        except OSError:
            return 0
        return status.st_size if stat.S_ISREG(status.st_mode) else 0
