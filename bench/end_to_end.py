#!/usr/bin/env python3
"""Whole files by encmgr and by the ffmpeg command, with the same encoder and settings, in turns.

end_to_end.py ENCMGR RESULTS.json [ROUNDS]: the median times of both and of the ratios of each round go to
RESULTS.json, and to the standard output. Inputs and outputs lie in memory where there is a file system for that."""

import json
import os
import statistics
import subprocess
import sys
import tempfile
import time
from typing import NamedTuple

RAW, FILM = "raw", "film"  # planes in Y4M, H.264 in MP4
SECONDS = {RAW: 4, FILM: 8}
H264 = ("H264", "mp4", ("--crf", "23", "--preset", "veryfast"), ("libx264", "-crf", "23", "-preset", "veryfast"))
MPEG4 = ("MP4V", "avi", ("--vb", "4M"), ("mpeg4", "-b:v", "4M"))
FFV1 = ("FFV1", "mkv", (), ("ffv1", "-level", "3", "-slicecrc", "1"))
PLANES = ("I420", "y4m", (), ("wrapped_avframe",))
HD, FULL = "1280x720", "1920x1080"


class Pair(NamedTuple):
    name: str
    source: str
    size: str
    to: str  # a size, or "" for the same
    encoder: tuple

    def commands(self, encmgr, folder):
        codec, ending, ours, theirs = self.encoder
        source, target = source_path(folder, self.source, self.size), f"{folder}/{{}}.{ending}"
        mine = [encmgr, "-q", "encode", "-y", source, "-o", target.format("ours"), "--vc", codec, *ours]
        other = ["ffmpeg", "-v", "error", "-y", "-i", source]
        if self.to:
            mine += ["--size", self.to]
            other += ["-s", self.to, "-sws_flags", "bilinear"]
        return mine, [*other, "-c:v", *theirs, target.format("theirs")]


PAIRS = [
    Pair("H.264, 720p", FILM, HD, "", H264),
    Pair("H.264, 1080p", FILM, FULL, "", H264),
    Pair("H.264, 1080p to 720p", FILM, FULL, HD, H264),
    Pair("MPEG-4, 720p", FILM, HD, "", MPEG4),
    Pair("MPEG-4, 1080p", FILM, FULL, "", MPEG4),
    Pair("MPEG-4, 1080p to 720p", FILM, FULL, HD, MPEG4),
    Pair("FFV1, 720p", FILM, HD, "", FFV1),
    Pair("FFV1, 1080p", FILM, FULL, "", FFV1),
    Pair("FFV1, 1080p to 720p", FILM, FULL, HD, FFV1),
    Pair("Y4M to Y4M, 1080p to 720p", RAW, FULL, HD, PLANES),
    Pair("Y4M to Y4M, 720p to 1080p", RAW, HD, FULL, PLANES),
    Pair("Y4M to Y4M, 1080p as is", RAW, FULL, "", PLANES),
]


def source_path(folder, kind, size):
    return f"{folder}/{size}.{'y4m' if kind == RAW else 'mp4'}"


def make_source(folder, kind, size):
    encoder = ["-pix_fmt", "yuv420p"] if kind == RAW else ["-c:v", "libx264", "-preset", "fast", "-crf", "20"]
    must(["ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size={size}:rate=25", "-t", str(SECONDS[kind]),
          *encoder, source_path(folder, kind, size)])


def must(command):
    subprocess.run(command, check=True, stdin=subprocess.DEVNULL)


def seconds_of(command):
    begin = time.perf_counter()
    must(command)
    return time.perf_counter() - begin


def pictures_in(path):
    return int(subprocess.run(
        ["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v", "-show_entries", "stream=nb_read_packets",
         "-of", "csv=p=0", path], check=True, text=True, stdout=subprocess.PIPE).stdout.strip(",\n"))


def main():
    encmgr, results, rounds = sys.argv[1], sys.argv[2], int(sys.argv[3]) if len(sys.argv) > 3 else 7
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    records = []
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        for kind, size in sorted({(pair.source, pair.size) for pair in PAIRS}):
            make_source(folder, kind, size)
        for pair in PAIRS:
            commands = pair.commands(encmgr, folder)
            times = [[seconds_of(command) for command in commands] for _ in range(rounds)]
            if len({pictures_in(f"{folder}/{who}.{pair.encoder[1]}") for who in ("ours", "theirs")}) != 1:
                sys.exit(f"{pair.name}: the files differ in their pictures")
            low, middle, high = statistics.quantiles([ours / theirs for ours, theirs in times], n=4)
            ours, theirs = (statistics.median(column) for column in zip(*times))
            records.append({"name": pair.name, "ours": ours, "theirs": theirs, "ratio": middle, "low": low, "high": high})
            print(f"{pair.name:28} {ours:6.2f} s, ffmpeg {theirs:6.2f} s, {middle:.2f} of its time "
                  f"({low:.2f} to {high:.2f})", flush=True)
    with open(results, "w", encoding="utf-8") as file:
        json.dump(records, file, indent=1)


main()
