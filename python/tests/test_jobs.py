import errno
import gc
import json
import os
import re
import subprocess
import sys
import threading
import wave

import numpy as np
import pytest
from conftest import GUIDE, decoded, noise, pictures_in, yuv_of

import encmgr
from encmgr import _library, _records


def written(path="a.y4m", count=1, **options):
    with encmgr.open(path, size=(64, 48), **options) as job:
        for _ in range(count):
            job.write(noise(48, 64, 3))
    return job.report


@pytest.mark.parametrize("width,height", [(64, 48), (33, 21)])
def test_pictures_of_every_kind_come_back(width, height):
    rgb = noise(height, width, 3)
    planes = yuv_of(rgb)
    wide = [np.repeat(plane, 2, axis=0) for plane in planes]
    kinds = [rgb, np.dstack([rgb, rgb[..., 0]]), planes, [w[::2] for w in wide], [p[::-1].copy()[::-1] for p in planes],
             [np.repeat(plane, 2, axis=1)[:, ::2] for plane in planes]]
    if width % 2 == 0:
        kinds.append(np.concatenate([p.ravel() for p in planes]).reshape(height * 3 // 2, width))
    with encmgr.open("a.mkv", size=(width, height), rate=25, video="ffv1") as job:
        assert [job.write(kind) for kind in kinds] == [1] * len(kinds)
    assert (job.report.pictures, job.report.complete, job.closed) == (len(kinds), True, True)
    assert job.report.size == os.path.getsize("a.mkv") and job.close() is job.report
    back = pictures_in("a.mkv", width, height)
    assert len(back) == len(kinds)
    for picture in back:
        assert all(np.array_equal(a, b) for a, b in zip(picture, planes))


def test_times_scaling_and_what_the_file_states():
    with encmgr.open("a.mkv", size=(64, 48), rate=25, video="FFV1", matrix="bt709", pixel_aspect=(16, 15),
                     source_size=(32, 48), fit="stretch", options={"g": 1}) as job:
        planes = encmgr.convert(noise(48, 32, 3), "planes")
        assert [job.write(planes, time) for time in (0, 0.04, 0.05, 0.24)] == [1, 1, 0, 5]
        with pytest.raises(ValueError, match="BT.601"):
            job.write(noise(48, 32, 3))
    assert (job.report.pictures, job.report.pictures_in, job.report.dropped) == (7, 4, 1)
    stream = json.loads(subprocess.check_output(["ffprobe", "-v", "error", "-of", "json", "-show_streams", "a.mkv"]))
    stream = stream["streams"][0]
    assert (stream["color_space"], stream["color_range"]) == ("bt709", "tv")
    assert (stream["sample_aspect_ratio"], stream["width"], stream["r_frame_rate"]) == ("16:15", 64, "25/1")


def test_samples_come_back():
    samples = noise(10000, 2, dtype=np.int16)
    loud = np.array([[0, 0.5], [-1, 1], [-3, 3]], np.float32)
    with encmgr.open("a.wav", audio=encmgr.Audio(48000)) as job:
        assert job.write_audio(samples) == 10000
        job.write_audio(samples[::-1].astype(">i2").astype("<i2")[::-1])
        job.write_audio(loud)
        job.write_audio(samples[:5], time=1)
        job.write_audio(samples[:9], time=1)
        with pytest.raises(ValueError, match="no video"):
            job.write(noise(4, 4, 3))
    with wave.open("a.wav") as file:
        back = np.frombuffer(file.readframes(10**6), "<i2").reshape(-1, 2)
    assert np.array_equal(back[:20000], np.vstack([samples, samples])) and len(back) == 48009
    assert np.array_equal(back[20000:20003], [[0, 16384], [-32768, 32767], [-32768, 32767]])
    assert np.array_equal(back[48000:], samples[:9]) and not back[20003:48000].any()
    mono = encmgr.Audio(48000, 1, encoder="PCMS", source_rate=24000, source_channels=2)
    with encmgr.open("a.mkv", audio=mono) as job:
        job.write_audio(np.full((24000, 2), 0.25))
    tone = decoded("a.mkv", "-f", "s16le").view(np.int16)
    assert abs(len(tone) - 48000) < 10 and set(tone[1:]) == {8192}


def test_an_exception_leaves_the_old_file():
    report = written(count=2)
    before = open("a.y4m", "rb").read()
    with pytest.raises(ZeroDivisionError), encmgr.open("a.y4m", size=(64, 48)) as job:
        job.write(noise(48, 64, 3))
        1 // 0
    assert job.closed and job.report is None and open("a.y4m", "rb").read() == before and len(before) == report.size
    with pytest.raises(RuntimeError, match="closed"):
        job.write(noise(48, 64, 3))
    with pytest.raises(ZeroDivisionError), encmgr.open("a.y4m", size=(64, 48)) as job:
        job.write(noise(48, 64, 3))
        job.close()
        1 // 0
    assert os.path.getsize("a.y4m") < len(before)
    job = encmgr.open("b.y4m", size=(64, 48))
    job.write(noise(48, 64, 3))
    del job
    gc.collect()
    os.symlink("a.y4m", "link.y4m")
    os.chmod("a.y4m", 0o640)
    written("link.y4m", 3)
    assert os.path.islink("link.y4m") and os.stat("a.y4m").st_mode & 0o777 == 0o640
    assert sorted(os.listdir()) == ["a.y4m", "link.y4m"] and len(pictures_in("a.y4m", 64, 48)) == 3


def test_failures_carry_the_log(monkeypatch):
    with pytest.raises(encmgr.EncodeError, match="nosuch") as caught:
        written("a.mkv", video="FFV1", options={"nosuch": 1})
    assert any("nosuch" in line for line in caught.value.log)
    with pytest.raises(encmgr.EncodeError) as caught:
        written("/dev/full", count=3, format="Y4M")
    assert caught.value.errno == errno.ENOSPC
    with pytest.raises(encmgr.EncodeError, match="whole"), encmgr.open("/dev/full", size=(8, 8), format="Y4M") as job:
        job.write(noise(8, 8, 3))  # which waits for the close
    with pytest.raises(FileNotFoundError):
        written("nosuch/a.mkv")
    with monkeypatch.context() as patch:  # as if an encoder couldn't be made
        patch.setattr(encmgr._job, "_LOST", re.compile("Create File"))
        with pytest.raises(encmgr.EncodeError, match="encoder can't"):
            written()
    with pytest.raises(encmgr.EncodeError):
        encmgr.open("a.mkv", size=(64, 48), video="FFV1").close()  # not a single picture
    assert os.listdir() == []
    written("p-%02d.png", 2)
    assert sorted(os.listdir()) == ["p-01.png", "p-02.png"]


@pytest.mark.parametrize("arguments,error", [
    ({}, "nothing to write"),
    ({"path": "a.xyz"}, "ending"),
    ({"path": "a\0.mkv"}, "name"),
    ({"path": b"\xff.mkv"}, "UTF-8"),
    ({"path": "", "size": (4, 4)}, "name"),
    ({"size": (4, 4), "video": "ffv"}, "FFV1"),
    ({"size": (4, 4), "format": "WAV"}, "no video"),
    ({"size": (0, 4)}, "sides"),
    ({"size": (1 << 40, 4)}, "sides"),
    ({"size": "ab"}, "whole numbers"),
    ({"size": (4, 4), "rate": 0}, "0.01"),
    ({"size": (4, 4), "rate": float("nan")}, "rate"),
    ({"size": (4, 4), "rate": 201}, "200"),
    ({"size": (4, 4), "fit": "fill"}, "keep"),
    ({"size": (4, 4), "bit_rate": 1 << 31}, "bit_rate"),
    ({"size": (4, 4), "bit_rate": 1.5}, "whole"),
    ({"size": (4, 4), "options": "crf=1"}, "dict"),
    ({"size": (4, 4), "options": {"a": "\0"}}, "zero"),
    ({"audio": 48000}, "Audio"),
    ({"audio": encmgr.Audio(0)}, "rate"),
    ({"audio": encmgr.Audio(48000, 2, source_channels=6)}, "two channels"),
])
def test_bad_arguments_are_refused(arguments, error):
    with pytest.raises((TypeError, ValueError), match=error):
        encmgr.open(**{"path": "a.mkv", **({"audio": encmgr.Audio(48000)} if "path" in arguments else {}), **arguments})
    assert os.listdir() == []


def test_bad_frames_are_refused_and_the_job_goes_on():
    with encmgr.open("a.mkv", size=(64, 48), video="FFV1", audio=encmgr.Audio(48000, encoder="FLAC")) as job:
        good = noise(48, 64, 3)
        for bad in (None, 1, "x", good[:47], good[..., :2], good.astype(np.int8), good[None], (good, good), [], [[]],
                    {}, np.broadcast_to(np.uint8(1), (1 << 20, 1 << 20, 3)), np.array([None])):
            with pytest.raises((TypeError, ValueError)):
                job.write(bad)
        for time in (-1, float("nan"), float("inf"), 1e300, "soon", None):
            with pytest.raises(ValueError):
                job.write(good, 10**10 if time is None else time)
        for bad in (None, good, np.zeros((5, 3), np.int16), np.zeros(5, np.int16), np.zeros((5, 2), np.int32),
                    np.full((5, 2), np.nan)):
            with pytest.raises((TypeError, ValueError)):
                job.write_audio(bad)
        assert job.write(np.broadcast_to(np.uint8(200), (48, 64, 3))) == 1
        assert job.write_audio(np.zeros((0, 2), np.int16)) == 0
        job.write_audio(np.zeros((1920, 2), np.int16))
    assert job.report.pictures == 1


def test_one_thread_at_a_time_and_the_parent_alone():
    job = encmgr.open("a.y4m", size=(64, 48))
    errors = []
    with job._use():
        thread = threading.Thread(target=lambda: errors.append(pytest.raises(RuntimeError, job.write, noise(48, 64, 3))))
        thread.start()
        thread.join()
    assert "one thread" in str(errors[0].value)
    child = os.fork()
    if not child:
        refused = False
        try:
            job.write(noise(48, 64, 3))
        except RuntimeError:
            refused = True
        job._finalizer()
        os._exit(0 if refused else 1)
    assert os.waitpid(child, 0)[1] == 0
    job.write(noise(48, 64, 3))
    assert job.close().pictures == 1


def test_formats_and_the_library():
    formats = encmgr.formats()
    assert formats["matroska"] is formats["mkv"] or formats["matroska"] == formats["MKV"]
    assert re.search(r"^MKV +Matroska .*\bFFV1\b.*\bFLAC\b", repr(formats), re.M)
    with pytest.raises(ValueError, match="did you mean 'MKV'"):
        formats["matrosca"]
    sizes = {_records.EncodeParam: (104, 112), _records.VideoInfo: (40, 40), _records.MediaFrame: (76, 96),
             _records.FormatInfo: (828, 840), _records.EncoderInfo: (772, 772)}
    wide = sys.maxsize > 2**32
    assert all(size[wide] == _library.c.sizeof(record) for record, size in sizes.items())
    script = "import encmgr\nencmgr.formats()"
    root = os.path.dirname(os.path.dirname(encmgr.__file__))
    run = subprocess.run([sys.executable, "-c", script], env={**os.environ, "PYTHONPATH": root, "ENCMGR_LIBRARY": "."},
                         text=True, capture_output=True, check=False)
    assert run.returncode == 1 and "ENCMGR_LIBRARY names another folder" in run.stderr
    # A job that is left open at the end of the program takes its file along, and ends without a crash.
    script = "import encmgr\njob = encmgr.open('left.mkv', size=(64, 48))"
    run = subprocess.run([sys.executable, "-c", script], env={**os.environ, "PYTHONPATH": root}, text=True,
                         capture_output=True, check=False)
    assert (run.returncode, run.stderr, os.listdir()) == (0, "", [])


def test_the_guide_runs():
    blocks = re.findall(r"```python\n(.*?)```", GUIDE.read_text(), re.S)
    assert blocks
    names = {}
    for block in blocks:
        exec(block, names)  # pylint: disable=exec-used
