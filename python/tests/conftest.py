import os
import pathlib
import subprocess

import numpy as np
import pytest


@pytest.fixture(autouse=True)
def in_folder(tmp_path, monkeypatch):
    """Files that a test names by a bare name lie in a folder of its own."""
    monkeypatch.chdir(tmp_path)
    yield
    assert not [name for name in os.listdir(tmp_path) if ".part-" in name]  # nothing unfinished is left


def decoded(path, *arguments):
    """Raw bytes that ffmpeg reads from a file."""
    command = ["ffmpeg", "-v", "error", "-i", str(path), *arguments, "-"]
    return np.frombuffer(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout, np.uint8)


def pictures_in(path, width, height):
    """The pictures of a file as planes."""
    cw, ch = (width + 1) // 2, (height + 1) // 2
    raw = decoded(path, "-f", "rawvideo", "-pix_fmt", "yuv420p").reshape(-1, width * height + 2 * cw * ch)
    return [(row[:width * height].reshape(height, width), row[width * height:][:cw * ch].reshape(ch, cw),
             row[width * height + cw * ch:].reshape(ch, cw)) for row in raw]


def yuv_of(rgb):
    """BT.601 with luma from 16 to 235, in the toolbox's integers; chroma is the floored mean of four floored terms."""
    r, g, b = (np.pad(rgb[..., i].astype(int), [(0, n % 2) for n in rgb.shape[:2]], "edge") for i in range(3))
    y = ((4211 * r + 8258 * g + 1606 * b) >> 14) + 16

    def chroma(terms):
        return (sum(terms[i::2, j::2] for i in (0, 1) for j in (0, 1)) + 512) >> 2

    u = chroma((7193 * b - 4768 * g - 2425 * r) >> 14)
    v = chroma((7193 * r - 6029 * g - 1163 * b) >> 14)
    return tuple(plane.astype(np.uint8) for plane in (y[:rgb.shape[0], :rgb.shape[1]], u, v))


def noise(*shape, dtype=np.uint8):
    info = np.iinfo(dtype)
    return np.random.default_rng(7).integers(info.min, info.max, shape, dtype, endpoint=True)


GUIDE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"
