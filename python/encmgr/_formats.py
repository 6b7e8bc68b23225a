"""What the plug-ins offer, and the choice of a format and its encoders."""

from __future__ import annotations

import difflib
import os
from dataclasses import dataclass
from typing import Iterable, Optional, Sequence, TypeVar, Union

from . import _library

# Endings that aren't their format's FourCC.
_ENDINGS = {"m4v": "MP4", "mka": "MKV", "wave": "WAV", "yuv4mpeg": "Y4M", "ogv": "OGG", "oga": "OGG", "mts": "TS",
            "m2ts": "TS", "jpeg": "JPG"}


@dataclass(frozen=True)
class Encoder:
    """One encoder of a format. ``fourcc`` comes without the blanks at its end."""

    fourcc: str
    name: str
    description: str


@dataclass(frozen=True)
class Format:
    """One file format; the first encoder of each list is the one that is taken where none is named."""

    fourcc: str
    short_name: str
    name: str
    description: str
    video: tuple[Encoder, ...]
    audio: tuple[Encoder, ...]


class Formats(tuple):
    """All formats. ``formats["MKV"]`` is one by its FourCC or name; printed, they are a table."""

    def __getitem__(self, key):  # type: ignore[no-untyped-def]
        return choose(self, key, "file format") if isinstance(key, str) else super().__getitem__(key)

    def __repr__(self) -> str:
        rows = [("FORMAT", "NAME", "VIDEO", "AUDIO")]
        for form in self:
            rows.append((form.fourcc, form.name, " ".join(e.fourcc for e in form.video) or "-",
                         " ".join(e.fourcc for e in form.audio) or "-"))
        widths = [max(map(len, column)) for column in zip(*rows)]
        return "\n".join("  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip() for row in rows)


Item = TypeVar("Item", Format, Encoder)


def fourcc_text(code: int) -> str:
    return code.to_bytes(4, "little").decode("latin-1").rstrip()


def fourcc_code(text: str) -> int:
    return int.from_bytes(text.ljust(4).encode("latin-1"), "little")


def _folded(text: str) -> str:
    return "".join(ch for ch in text.casefold() if ch.isalnum())


def _names(item: Union[Format, Encoder]) -> list[str]:
    return [item.fourcc, item.name] + ([item.short_name] if isinstance(item, Format) else [])


def choose(items: Iterable[Item], name: str, kind: str) -> Item:
    """The item with this FourCC or name, whatever the case. Raises ValueError, which lists what there is."""
    items = list(items)
    for same in (lambda text: text.casefold() == name.strip().casefold(), lambda text: _folded(text) == _folded(name)):
        for item in items:
            if any(same(text) for text in _names(item)):
                return item
    known = {text.casefold(): item.fourcc for item in items for text in _names(item)}
    like = difflib.get_close_matches(name.casefold(), known, 1)
    raise ValueError(f"there is no {kind} {name!r}; " + (f"did you mean {known[like[0]]!r}? " if like else "")
                     + "There are: " + (", ".join(item.fourcc for item in items) or "none"))


def formats() -> Formats:
    """The file formats and encoders that the plug-ins offer, in their own order.

    >>> encmgr.formats()["MKV"].video[0].fourcc
    'H264'
    """

    def encoders(pointers, count: int) -> tuple[Encoder, ...]:  # type: ignore[no-untyped-def]
        infos = (pointers[i].contents for i in range(count if pointers else 0))
        return tuple(Encoder(fourcc_text(i.dwFourCC), i.szName, i.szDescription) for i in infos)

    found = []
    info = _library.plugins().job.FCGetFileFormatInfos()
    while info[len(found)].dwFourCC:
        item = info[len(found)]
        found.append(Format(fourcc_text(item.dwFourCC), item.szShortName, item.szName, item.szDescription,
                            encoders(item.ppVideoEncoders, item.nVideoEncoders),
                            encoders(item.ppAudioEncoders, item.nAudioEncoders)))
    return Formats(found)


def format_for(path: str, name: Optional[str]) -> Format:
    """The format with this name or, without one, by the path's ending. Raises ValueError."""
    every = formats()
    if name is not None:
        return choose(every, name, "file format")
    ending = os.path.splitext(path)[1][1:].casefold()
    wanted = _ENDINGS.get(ending, ending)
    for form in every:
        if form.fourcc.casefold() == wanted.casefold():
            return form
    raise ValueError(f"no file format goes by the ending of {path!r}; format=... names one of: "
                     + ", ".join(form.fourcc for form in every))


def encoder_of(form: Format, kind: str, name: Optional[str]) -> Encoder:
    """The format's encoder with this name, or its first. kind: "video" or "audio". Raises ValueError."""
    encoders: Sequence[Encoder] = form.video if kind == "video" else form.audio
    if name is not None:
        return choose(encoders, name, f"{kind} encoder of {form.fourcc}")
    if not encoders:
        raise ValueError(f"{form.fourcc} holds no {kind}")
    return encoders[0]
