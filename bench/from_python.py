#!/usr/bin/env python3
"""What writing pictures of RGB to Y4M costs from Python, over what it costs the same host in C++.

from_python.py RGBHOST [ROUNDS]: the program of bench/RgbHost.cpp. Both run in turns, in memory where there is a file
system for that; the median of the ratios of each round is printed, and the last file of both is compared in length."""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "python"))
import encmgr
import numpy as np

WIDTH, HEIGHT, PICTURES, DIFFERENT = 1920, 1080, 100, 4


def seconds_from_python(path, pictures):
    with encmgr.open(path, size=(WIDTH, HEIGHT), rate=25) as job:
        start = time.perf_counter()
        for i in range(PICTURES):
            job.write(pictures[i % DIFFERENT])
        return time.perf_counter() - start


def seconds_from_cpp(program, path):
    return float(subprocess.run([program, path, str(WIDTH), str(HEIGHT), str(PICTURES)], check=True, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout)


def main():
    program, rounds = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 9
    pictures = np.random.default_rng(1).integers(0, 256, (DIFFERENT, HEIGHT, WIDTH, 3), np.uint8)
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    cpp, python = [], []
    with tempfile.TemporaryDirectory(dir=memory) as folder:
        one, other = f"{folder}/cpp.y4m", f"{folder}/python.y4m"
        for _ in range(rounds):
            for path in (one, other):
                if os.path.exists(path):
                    os.unlink(path)
            cpp.append(seconds_from_cpp(program, one))
            python.append(seconds_from_python(other, pictures))
        if os.path.getsize(one) != os.path.getsize(other):
            sys.exit("the files differ in length")
    ratios = [p / c for p, c in zip(python, cpp)]
    low, middle, high = statistics.quantiles(ratios, n=4)
    print(f"a picture of {WIDTH}x{HEIGHT}: C++ {1e3 * statistics.median(cpp) / PICTURES:.2f} ms, "
          f"Python {1e3 * statistics.median(python) / PICTURES:.2f} ms, ratio {middle:.2f} ({low:.2f} to {high:.2f})")


main()
