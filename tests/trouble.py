#!/usr/bin/env python3
"""What becomes of a file when encmgr gets no memory or no room, or is ended.

  memory  one allocation fails: an error, or the same pictures and samples; nothing half done under the file's name
  room    files may not become larger: exit code 6 with the cause, and nothing is left
  end     SIGTERM finishes the file up to there; after SIGKILL what stands under the temporary name plays up to its last
          second, and nothing stands under the file's own

Usage: trouble.py ENCMGR INTERPOSER [TIMES], where TIMES says how often each trouble is tried (default: 4).
"""
import json
import os
import random
import resource
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

ENCMGR, INTERPOSER = (str(Path(name).resolve()) for name in sys.argv[1:3])
TIMES = int(sys.argv[3]) if len(sys.argv) > 3 else 4
OURS = "encmgr:libEncMgr:libLog:wp:libstdc++"  # what others do without memory is theirs
JOBS = {
    "card.y4m": [],
    "card.wav": [],
    "card.mkv": ["--vc", "FFV1", "--ac", "PCMS"],
    "card.avi": ["--vc", "MJPG", "--ac", "PCMS"],
    "card.mp4": ["--vc", "MP4V", "--fragmented"],
}
failures = 0


def check(good, what):
    global failures
    if not good:
        failures += 1
        print("FAILED", what, flush=True)


def command(source, name):
    return [ENCMGR, "encode", source, "-o", name, *JOBS[name]]


def run(arguments, folder, **more):
    return subprocess.run(arguments, cwd=folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, check=False, timeout=120, **more)


def content(path):
    """The pictures and samples, decoded."""
    return run(["ffmpeg", "-v", "error", "-i", path, "-f", "framemd5", "-"], ".").stdout if path.exists() else None


def length(path):
    """Seconds up to which all streams play."""
    ends = []
    for stream in ("v", "a"):
        shown = run(["ffprobe", "-v", "quiet", "-select_streams", stream, "-show_entries",
                     "packet=pts_time,duration_time", "-of", "json", path], ".").stdout
        packets = [p for p in json.loads(shown or "{}").get("packets", []) if "pts_time" in p]
        if packets:
            ends.append(max(float(p["pts_time"]) + float(p.get("duration_time", 0)) for p in packets))
    return min(ends, default=0)


def memory(name):
    with tempfile.TemporaryDirectory() as name_of_folder:
        folder, report = Path(name_of_folder), Path(name_of_folder) / "count"
        loaded = dict(os.environ, LD_PRELOAD=INTERPOSER, FAIL_MODULES=OURS, REPORT_TO=str(report))
        run(command("testcard:size=160x120,seconds=1", name), folder, env=loaded)
        whole, count = content(folder / name), int(report.read_text())
        failed = 0
        for number in random.sample(range(1, count + 1), min(TIMES, count)):
            (folder / name).unlink(missing_ok=True)
            report.unlink(missing_ok=True)
            ended = run(command("testcard:size=160x120,seconds=1", name), folder,
                        env=dict(loaded, FAIL_ALLOCATION=str(number)))
            failed += ended.returncode != 0
            made = content(folder / name)
            left = {path.name for path in folder.iterdir()} - {"count", name}
            what = "%s, allocation %d of %d: %s" % (name, number, count, ended)
            check(0 <= ended.returncode <= 9 and not left, what)
            # What fails behind the file's end leaves the file.
            check(made == whole if ended.returncode == 0 else made in (None, whole), what)
            check(ended.returncode == 0 or "error" in ended.stderr, what)
        print("%s: %d of %d allocations failed, %d times the job" % (name, min(TIMES, count), count, failed), flush=True)


def room(name):
    with tempfile.TemporaryDirectory() as name_of_folder:
        folder = Path(name_of_folder)
        run(command("testcard:size=160x120,seconds=1", name), folder)
        size = (folder / name).stat().st_size
        (folder / name).unlink()
        for limit in [0, 1, size - 1] + random.sample(range(2, size), min(TIMES, 1000)):
            ended = run(command("testcard:size=160x120,seconds=1", name), folder,
                        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit)))
            check(ended.returncode == 6 and "ulimit -f" in ended.stderr and not list(folder.iterdir()),
                  "%s, room for %d of %d bytes: %s" % (name, limit, size, ended))
        print("%s: no room, at %d places" % (name, TIMES + 3), flush=True)


def end(name, how):
    with tempfile.TemporaryDirectory() as name_of_folder:
        folder = Path(name_of_folder)
        with subprocess.Popen(command("testcard:size=1280x720,seconds=600", name) + ["--progress", "json"], cwd=folder,
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                              text=True) as process:
            reached, wanted = 0, random.uniform(1, 4)
            for line in process.stderr:
                if line.startswith("{"):
                    reached = json.loads(line)["position_seconds"]
                if reached >= wanted:
                    break
            process.send_signal(how)
            process.stderr.read()
        files = list(folder.iterdir())
        what = "%s, %s at %.3f s: %s" % (name, how.name, reached, [path.name for path in files])
        check(len(files) == 1 and (files[0].name == name) == (how == signal.SIGTERM), what)
        check(process.returncode == (128 + how if how == signal.SIGTERM else -how), what)
        plays = length(files[0]) if files else 0
        errors = run(["ffmpeg", "-v", "error", "-i", files[0], "-f", "null", "-"], ".") if files else None
        check(plays >= reached - 1 and (how == signal.SIGKILL or not errors.stderr), what + ", plays to %.3f" % plays)
        print("%s: %s at %.1f s or later, plays to %.1f s" % (name, how.name, reached, plays), flush=True)


def main():
    seed = int(os.environ.get("ENCMGR_SEED", random.randrange(100000)))
    print("ENCMGR_SEED=%d" % seed)
    random.seed(seed)
    for name in JOBS:
        memory(name)
        room(name)
        for _ in range(1 + TIMES // 100):
            end(name, signal.SIGTERM)
            end(name, signal.SIGKILL)
    sys.exit(1 if failures else 0)


main()
