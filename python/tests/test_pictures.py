import numpy as np
import pytest
from conftest import noise, yuv_of

import encmgr


def same(one, other):
    return all(np.array_equal(a, b) for a, b in zip(one, other, strict=True))


@pytest.mark.parametrize("width,height", [(1, 1), (3, 5), (64, 48), (1027, 7)])
def test_rgb_becomes_planes_and_back(width, height):
    rgb = noise(height, width, 3)
    planes = encmgr.convert(rgb, "planes")
    assert same(planes, yuv_of(rgb))
    rgba = np.dstack([rgb, noise(height, width)])
    wide = np.zeros((height * 2, width + 9, 3), np.uint8)
    wide[::2, 4:4 + width] = rgb
    for view in (rgba, rgba[..., :3], wide[::2, 4:4 + width], rgb[::-1].copy()[::-1], np.asfortranarray(rgb),
                 rgb[..., ::-1].copy()[..., ::-1]):
        assert same(encmgr.convert(view, "planes"), planes)
    row = np.broadcast_to(rgb[:1], rgb.shape)
    assert same(encmgr.convert(row, "planes"), yuv_of(row))
    y, u, v = (plane.astype(int) for plane in planes)
    u, v = (np.repeat(np.repeat(c, 2, 0), 2, 1)[:height, :width] for c in (u, v))
    model = np.stack([(9536 * y + 13074 * v - 1826095) >> 13, (9536 * y + 1109918 - 6660 * v - 3203 * u) >> 13,
                      (9536 * y + 16532 * u - 2268594) >> 13], 2).clip(0, 255)
    assert np.array_equal(encmgr.convert(planes, "rgb"), model)
    assert np.array_equal(encmgr.convert(planes, "rgba")[..., 3], np.full((height, width), 255))
    if width % 2 == height % 2 == 0:
        whole = encmgr.convert(rgb, "i420")
        assert np.array_equal(whole.ravel(), np.concatenate([p.ravel() for p in planes]))
        assert np.array_equal(encmgr.convert(whole, "rgb"), model)


@pytest.mark.parametrize("method", ["nearest", "bilinear", "cubic"])
def test_scaling(method):
    rgba = noise(31, 17, 4)
    for size in ((2, 2), (17, 31), (40, 9)):
        scaled = encmgr.resize(rgba, size, method)
        assert scaled.shape == (size[1], size[0], 4)
        assert np.array_equal(encmgr.resize(rgba[..., :3], size, method), scaled[..., :3])
        for channel in range(4):
            assert np.array_equal(encmgr.resize(rgba[..., channel], size, method), scaled[..., channel])
        # From corner to corner: the right way up. The cubic curve smooths.
        assert method == "cubic" or np.array_equal(scaled[[0, 0, -1, -1], [0, -1, 0, -1]], rgba[[0, 0, -1, -1], [0, -1, 0, -1]])
    grey = np.arange(0, 200, 10, dtype=np.uint8)[:, None] + np.arange(20, dtype=np.uint8)
    rows = encmgr.resize(grey, (30, 30), method).astype(int).mean(axis=1)
    assert (np.diff(rows) >= 0).all() and rows[-1] > rows[0] + 150
    if method != "cubic":
        y, u, v = encmgr.resize(encmgr.convert(rgba, "planes"), (40, 10), method)
        assert (y.shape, u.shape, v.shape) == ((10, 40), (5, 20), (5, 20))


@pytest.mark.parametrize("call,error", [
    (lambda: encmgr.convert(noise(4, 4), "rgb"), "I420"),
    (lambda: encmgr.convert(noise(4, 4, 3), "yuv"), "planes, i420"),
    (lambda: encmgr.convert(noise(3, 4, 3), "i420"), "odd"),
    (lambda: encmgr.convert(noise(4, 4, 3).astype(float), "rgb"), "uint8"),
    (lambda: encmgr.convert([[1, 2], [3]], "rgb"), "planes"),
    (lambda: encmgr.convert((noise(4, 4), noise(4, 4), noise(2, 2)), "rgb"), "plane U"),
    (lambda: encmgr.convert(np.zeros((0, 4, 3), np.uint8), "planes"), "sides"),
    (lambda: encmgr.convert(None, "rgb"), "object"),
    (lambda: encmgr.resize(noise(4, 4, 3), (1, 4)), "from 2"),
    (lambda: encmgr.resize(noise(4, 4, 3), 4), "width, height"),
    (lambda: encmgr.resize(noise(4, 4, 3), (float("inf"), 4)), "whole"),
    (lambda: encmgr.resize(noise(4, 4, 3), (4, 4), "lanczos"), "cubic"),
])
def test_refusals(call, error):
    with pytest.raises((TypeError, ValueError), match=error):
        call()
