"""Pictures between numpy and the library: what is accepted, and the toolbox on it.

Pictures have 8 bits (``uint8``), rows from the top:

- RGB, an array of shape (height, width, 3); RGBA, (height, width, 4)
- planes, a tuple (Y, U, V) of arrays of shape (height, width) and twice ((height + 1) // 2, (width + 1) // 2)
- I420, one array of shape (height * 3 // 2, width) with the three planes behind each other; both sides are even
"""

from __future__ import annotations

import ctypes as c
from typing import Any, Sequence, Union

import numpy as np

from . import _library
from . import _records as r

Planes = tuple[np.ndarray, np.ndarray, np.ndarray]
Picture = Union[np.ndarray, Sequence[np.ndarray]]

_MOST_SIDE = 2**19 - 1  # of the toolbox's scalers
_INT_MAX = 2**31 - 1


def _bytes(array: Any, what: str) -> np.ndarray:
    array = np.asarray(array)
    if array.dtype != np.uint8:
        raise TypeError(f"{what} has samples of {array.dtype}; uint8 is needed (from 0 to 255)")
    return array


def _rows(array: np.ndarray) -> np.ndarray:
    """The array itself if its rows lie as C has them, at any distance, otherwise a copy."""
    packed = array.itemsize
    good = True
    for size, stride in zip(array.shape[:0:-1], array.strides[:0:-1]):
        good = good and (size == 1 or stride == packed)
        packed *= size
    pitch = abs(array.strides[0])
    if array.shape[0] > 1:
        good = good and packed <= pitch <= _INT_MAX
    return array if good else np.ascontiguousarray(array)


def pitch_of(rows: np.ndarray) -> int:
    """Bytes from row to row. One row has none, and numpy may say anything there."""
    return rows.strides[0] if rows.shape[0] > 1 else rows.shape[1] * (rows.shape[2] if rows.ndim == 3 else 1)


def _check_sides(width: int, height: int, most: int = _MOST_SIDE) -> None:
    if not 1 <= width <= most or not 1 <= height <= most:
        raise ValueError(f"a picture of {width}x{height}: sides are from 1 to {most} pixels")


def rgb_rows(picture: np.ndarray) -> np.ndarray:
    """An RGB or RGBA array as the toolbox takes it, in place where its layout permits, without alpha's part."""
    # The first three of four channels lie as RGB with 4 bytes a pixel, and so do views of them.
    if picture.shape[2] == 3 and picture.strides[2] == 1 and picture.strides[1] == 4 and picture.shape[1] > 1:
        pitch = abs(picture.strides[0])
        if picture.base is not None and (picture.shape[0] == 1 or 4 * picture.shape[1] <= pitch <= _INT_MAX):
            return picture
    return _rows(picture)


def rgb_record(rows: np.ndarray) -> r.Rgb:
    height, width = rows.shape[:2]
    step = rows.strides[1] if width > 1 else rows.shape[2]
    pitch = rows.strides[0] if height > 1 else step * width
    return r.Rgb(rows.ctypes.data, width, height, pitch, step)


def planes_record(planes: Planes) -> r.Planes:
    y, u, v = planes
    return r.Planes(y.ctypes.data, u.ctypes.data, v.ctypes.data, pitch_of(y), pitch_of(u), pitch_of(v), y.shape[1],
                    y.shape[0])


def new_planes(width: int, height: int) -> Planes:
    chroma = ((height + 1) // 2, (width + 1) // 2)
    return np.empty((height, width), np.uint8), np.empty(chroma, np.uint8), np.empty(chroma, np.uint8)


def is_rgb(picture: Picture) -> bool:
    return isinstance(picture, np.ndarray) and picture.ndim == 3


def _planes_of(parts: Sequence[Any]) -> Planes:
    if len(parts) != 3:
        raise ValueError(f"{len(parts)} planes; a picture has three: Y, U and V")
    y, u, v = (_bytes(part, f"plane {name}") for part, name in zip(parts, "YUV"))
    if y.ndim != 2:
        raise ValueError(f"plane Y has the shape {y.shape}; (height, width) is needed")
    chroma = ((y.shape[0] + 1) // 2, (y.shape[1] + 1) // 2)
    for name, plane in (("U", u), ("V", v)):
        if plane.shape != chroma:
            raise ValueError(f"plane {name} has the shape {plane.shape}; beside a Y of {y.shape} it is {chroma}")
    _check_sides(y.shape[1], y.shape[0])
    return _rows(y), _rows(u), _rows(v)


def _planes_of_i420(array: np.ndarray) -> Planes:
    rows, width = array.shape
    if width % 2 or rows % 3 or not rows:
        raise ValueError(f"an array of the shape {array.shape} is no picture: I420 has (height * 3 // 2, width) with even "
                         "sides, RGB (height, width, 3); planes are a tuple (Y, U, V)")
    height = rows // 3 * 2
    flat = np.ascontiguousarray(array).reshape(-1)
    luma, chroma = width * height, width * height // 4
    return (flat[:luma].reshape(height, width), flat[luma:luma + chroma].reshape(height // 2, width // 2),
            flat[luma + chroma:].reshape(height // 2, width // 2))


def checked(picture: Picture) -> Picture:
    """An RGB or RGBA array, or three planes, from all that is accepted. Raises TypeError or ValueError."""
    if isinstance(picture, (tuple, list)):
        return _planes_of(picture)
    array = _bytes(picture, "the picture")
    if array.ndim == 2:
        planes = _planes_of_i420(array)
        _check_sides(planes[0].shape[1], planes[0].shape[0])
        return planes
    if array.ndim != 3 or array.shape[2] not in (3, 4):
        raise ValueError(f"an array of the shape {array.shape} is no picture: RGB has (height, width, 3), RGBA (height, "
                         "width, 4), I420 (height * 3 // 2, width); planes are a tuple (Y, U, V)")
    _check_sides(array.shape[1], array.shape[0])
    return array


def size_of(picture: Picture) -> tuple[int, int]:
    """Width and height of a checked picture."""
    luma = picture if isinstance(picture, np.ndarray) else picture[0]
    return luma.shape[1], luma.shape[0]


def _done(result: int, what: str) -> None:
    if result != 1:
        raise ValueError(f"the toolbox refuses to {what} this picture")


def rgb_into_planes(picture: np.ndarray, planes: Planes) -> None:
    """Converts a checked RGB or RGBA array into planes of its size."""
    rows = rgb_rows(picture)
    _done(_library.library().toolbox.encmgr_rgb_to_i420(c.byref(rgb_record(rows)), c.byref(planes_record(planes))),
          "convert")


def convert(picture: Picture, to: str) -> Union[np.ndarray, Planes]:
    """Converts a picture between RGB and planar YUV 4:2:0, by ITU-R BT.601 with luma from 16 to 235.

    Args:
        picture: an RGB array of shape (height, width, 3), RGBA of (height, width, 4), planes (Y, U, V), or I420 of
            (height * 3 // 2, width); ``uint8``, rows from the top, of any strides.
        to: "planes", "i420", "rgb" or "rgba". Alpha doesn't survive planes, and is 255 where it is made.

    Returns:
        A new picture. A chroma sample is the mean of its four pixels; going back, they share it.
    """
    kinds = ("planes", "i420", "rgb", "rgba")
    if to not in kinds:
        raise ValueError(f"to={to!r}; there are: {', '.join(kinds)}")
    source = checked(picture)
    width, height = size_of(source)
    if to in ("rgb", "rgba"):
        target = np.empty((height, width, len(to)), np.uint8)
        if is_rgb(source):
            target[..., 3:] = 255
            shared = min(len(to), source.shape[2])
            target[..., :shared] = source[..., :shared]
            return target
        _done(_library.library().toolbox.encmgr_i420_to_rgb(c.byref(planes_record(source)), c.byref(rgb_record(target))),
              "convert")
        return target
    if to == "i420":
        if width % 2 or height % 2:
            raise ValueError(f"a picture of {width}x{height} has no form in one array; to=\"planes\" takes odd sides")
        whole = np.empty((height * 3 // 2, width), np.uint8)
        planes = _planes_of_i420(whole)
    else:
        planes = new_planes(width, height)
    if is_rgb(source):
        rgb_into_planes(source, planes)
    else:
        for plane, part in zip(planes, source):
            plane[...] = part
    return whole if to == "i420" else planes


# ---- scaling ----

_METHODS = ("bilinear", "nearest", "cubic")


def _image(array: np.ndarray, bits: int) -> r.Image:
    """A contiguous array; the functions that take pictures from the bottom get its rows from there."""
    height, width = array.shape[:2]
    pitch = width * (bits // 8)
    return r.Image(array.ctypes.data + (height - 1) * pitch, width, height, -pitch, bits, 0, 0, width, height)


def _scale_32(source: np.ndarray, size: tuple[int, int], method: str) -> np.ndarray:
    target = np.zeros((size[1], size[0], 4), np.uint8)
    name = {"bilinear": "bilinear_32", "nearest": "nearest_32", "cubic": "convolution_32"}[method]
    scale = getattr(_library.library().toolbox, "encmgr_" + name)
    _done(scale(c.byref(_image(source, 32)), c.byref(_image(target, 32))), "scale")
    return target


def _scale_8(source: np.ndarray, size: tuple[int, int], method: str) -> np.ndarray:
    if method != "bilinear":  # as in pictures of four bytes, to the same positions
        return _scale_32(np.repeat(source[..., None], 4, axis=2), size, method)[..., 0].copy()
    source, target = np.ascontiguousarray(source), np.zeros((size[1], size[0]), np.uint8)
    _done(_library.library().toolbox.encmgr_bilinear_8(c.byref(_image(source, 8)), c.byref(_image(target, 8))), "scale")
    return target


def _scale_planes(source: Planes, size: tuple[int, int], method: str) -> Planes:
    if method == "cubic":
        raise ValueError("planes are scaled bilinear or nearest, not cubic")
    target = new_planes(*size)
    code = {"nearest": 1, "bilinear": 2}[method]
    _done(_library.library().toolbox.encmgr_scale_i420(c.byref(planes_record(source)), None,
                                                       c.byref(planes_record(target)), None, code), "scale")
    return target


def checked_size(size: Any, least: int, most: int, what: str = "size") -> tuple[int, int]:
    """(width, height) as ints. Raises TypeError or ValueError."""
    try:
        width, height = size
        if isinstance(width, bool) or width != int(width) or height != int(height):
            raise ValueError
        width, height = int(width), int(height)
    except (TypeError, ValueError, OverflowError):
        raise TypeError(f"{what}={size!r}; two whole numbers are needed: (width, height)") from None
    if not least <= width <= most or not least <= height <= most:
        raise ValueError(f"{what}={size!r}; sides are from {least} to {most} pixels")
    return width, height


def resize(picture: Picture, size: tuple[int, int], method: str = "bilinear") -> Union[np.ndarray, Planes]:
    """Scales a picture, from corner to corner.

    Args:
        picture: RGB, RGBA or planes as for :func:`convert`; a single plane, (height, width), is scaled as it is.
        size: (width, height) in pixels, 2 and more each.
        method: "bilinear", "nearest" or, but for planes, "cubic". None widens its kernel when it makes a picture
            smaller: below half the size fine detail breaks up. Colours and alpha are scaled apart from each other.

    Returns:
        A new picture of the same kind, rows contiguous.
    """
    if method not in _METHODS:
        raise ValueError(f"method={method!r}; there are: {', '.join(_METHODS)}")
    size = checked_size(size, 2, _MOST_SIDE)
    if not isinstance(picture, (tuple, list)):
        array = _bytes(picture, "the picture")
        if array.ndim == 2:
            _check_sides(array.shape[1], array.shape[0])
            return _scale_8(array, size, method)
    source = checked(picture)
    if not is_rgb(source):
        return _scale_planes(source, size, method)
    pixels = np.zeros((*source.shape[:2], 4), np.uint8)
    pixels[..., :3] = source[..., :3]
    target = _scale_32(pixels, size, method)
    if source.shape[2] == 3:
        return np.ascontiguousarray(target[..., :3])
    target[..., 3] = _scale_8(source[..., 3], size, method)
    return target
