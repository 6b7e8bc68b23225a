"""Lays out the pieces that scripts/farm encodes: pictures in chunks that begin at a picture's own time, so that none is lost
or doubled, and audio as a whole. NAME.args holds a piece's arguments for encmgr encode, each ended by a zero byte, and names
has a line for each piece.

    farm_pieces.py WORK INPUT OUTPUT CHUNK OPTION...
"""

import argparse
import json
import os
import subprocess
import sys
from fractions import Fraction

# What makes sense for a part of a file. All else that encmgr encode knows chooses parts itself, or names other files.
VIDEO = ("--vc", "--vb", "--fit", "--scale", "--crf", "--preset", "--tune", "--gop", "--passes", "--max-gap")
VIDEO_FLAGS = ("--deinterlace", "--no-deinterlace", "--strict-cfr")
AUDIO = ("--ac", "--ab", "--ar", "--resampler", "--channels", "--audio-stream")


def refuse(text, code=2):
    print("farm:", text, file=sys.stderr)
    sys.exit(code)


def parsed(options):
    parser = argparse.ArgumentParser(allow_abbrev=False, add_help=False)
    for kind, names in (("video", (*VIDEO, "--size", "--vopt")), ("audio", (*AUDIO, "--aopt"))):
        for name in names:
            short = ("-s",) if name == "--size" else ()
            parser.add_argument(*short, name, dest=kind, action="append", type=lambda value, name=name: (name, value))
    for kind, names in (("video", VIDEO_FLAGS), ("audio", ("--no-metadata",)), ("both", ("--check-plugins",))):
        for name in names:
            parser.add_argument(name, dest=kind, action="append_const", const=(name,))
    parser.add_argument("-y", "--overwrite", action="store_true")
    parser.error = refuse
    parser.set_defaults(video=[], audio=[], both=[])
    known, other = parser.parse_known_args(options)
    if other:
        refuse(f"{other[0]} has no place here")
    return known


def flat(groups):
    return [word for group in groups for word in group]


def output_of(*command):
    process = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    if process.returncode:  # it has said why
        sys.exit(process.returncode if process.returncode > 0 else 128 - process.returncode)
    return process.stdout


class Source:
    """What has to be known of the input. Refuses one whose chunks wouldn't add up to it."""

    def __init__(self, path):
        self.path = path
        facts = json.loads(output_of(os.environ["ENCMGR"], "probe", path, "--json"))
        video = [stream for stream in facts["streams"] if stream["isUsed"] and stream["kind"] == "video"]
        audio = [stream for stream in facts["streams"] if stream["kind"] == "audio"]
        if not video or not facts["isDurationStated"]:
            refuse("the input has no video, or doesn't say how long it is", 3)
        if video[0]["video"]["rateKind"] != "steady":
            refuse("the input's pictures don't come at a steady rate: encode it as a whole", 3)
        self.rate = Fraction(video[0]["video"]["frameRate"])
        self.has_audio = any(stream["isUsed"] for stream in audio)
        # Chunks and audio know nothing of each other: each begins with the first that it has.
        starts = [self._shown(stream, "stream=start_time") for stream in (video[0], *audio)]
        starts = [Fraction(start) for start in starts if start != "N/A"]
        if starts and (max(starts) - min(starts)) * self.rate > 1:
            refuse("pictures and audio don't begin at the same time: encode the input as a whole", 3)
        packets = int(self._shown(video[0], "stream=nb_read_packets", "-count_packets"))
        self.pictures = min(packets, int(Fraction(str(facts["duration"])) * self.rate))

    def _shown(self, stream, entry, *more):
        command = ["ffprobe", "-v", "error", "-select_streams", str(stream["index"]), *more, "-show_entries", entry]
        lines = output_of(*command, "-of", "csv=p=0", "file:" + self.path).decode().split("\n")
        return lines[0].rstrip(",")


def main():
    work, path, output, chunk, *options = sys.argv[1:]
    chosen = parsed(options)
    if os.path.exists(output) and not chosen.overwrite:
        refuse(f"{output} is there; -y overwrites it", 4)
    ending = output.rpartition(".")[2]
    source = Source(path)
    chunk = int(chunk)
    count = max(1, round(source.pictures / chunk))  # the last one is open: from half a chunk to one and a half
    names = []

    def write(name, *arguments):
        words = [path, "-o", f"{name}.{ending}", *arguments, *flat(chosen.both)]
        with open(os.path.join(work, name + ".args"), "wb") as file:
            file.write(b"".join(os.fsencode(word) + b"\0" for word in words))
        names.append(name)

    for i in range(count):
        nanoseconds = int(i * chunk * 10**9 / source.rate)
        part = ["--start", f"{nanoseconds // 10**9}.{nanoseconds % 10**9:09d}"]
        if i + 1 < count:
            part += ["--frames", str(chunk), "--expect-frames", str(chunk)]
        write(f"{i:05d}", "--an", "--no-metadata", *part, *flat(chosen.video))
    if source.has_audio:
        write("audio", "--vn", *flat(chosen.audio))
    with open(os.path.join(work, "names"), "w", encoding="ascii") as file:
        file.write("".join(name + "\n" for name in names))


if __name__ == "__main__":
    main()
