"""Draws docs/pacing.svg: what a job made of an uneven source, from its report and from both files' pictures.

pacing.py SOURCE OUTPUT REPORT >DRAWING
"""
import json
import subprocess
import sys

LEFT, SECOND, END = 120, 130, 6.0
NEW, REPEAT, DROP, SOUND, FILL, INK = "#2563eb", "#93c5fd", "#dc2626", "#16a34a", "#facc15", "#1f2328"


def pictures(path):
    """Time and hash of each picture."""
    command = ["ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-fps_mode", "passthrough", "-enc_time_base",
               "1/1000", "-f", "framehash", "-"]
    lines = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
    rows = [line.split(",") for line in lines if not line.startswith("#")]
    return [(int(row[2]) / 1000, row[-1].strip()) for row in rows]


def blocks(path):
    """Begin and end of each block of audio, in seconds."""
    command = ["ffprobe", "-v", "error", "-select_streams", "a", "-show_entries", "packet=pts_time,duration_time", "-of",
               "csv=p=0", path]
    lines = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout.split()
    return [(float(begin), float(begin) + float(length)) for begin, length in (line.split(",")[:2] for line in lines)]


def at(seconds):
    return f"{LEFT + seconds * SECOND:.1f}"


def box(begin, end, top, height, colour):
    width = max((end - begin) * SECOND - 1, 0.5)
    return f'<rect x="{at(begin)}" y="{top}" width="{width:.1f}" height="{height}" fill="{colour}"/>'


def label(text, y):
    return f'<text x="{LEFT - 12}" y="{y}" text-anchor="end">{text}</text>'


source, output, report = sys.argv[1:]
came, went = pictures(source), pictures(output)
with open(report, encoding="utf-8") as file:
    job = json.load(file)
line = job["timeline"]
step = line["bucket_seconds"]
used = {picture for _, picture in went}
repeats = [i > 0 and went[i - 1][1] == went[i][1] for i in range(len(went))]
# One place in each of the report's buckets, and the report counts what the files show.
assert line["written"] == [1] * len(went) and line["repeated"] == [int(repeat) for repeat in repeats]
assert sum(line["dropped"]) == sum(picture not in used for _, picture in came)

draw = [label("source's pictures", 57), label("output's pictures", 129), label("source's audio", 202),
        label("output's audio", 254)]
for second in range(int(END) + 1):
    draw.append(f'<path d="M{at(second)} 34V268" stroke="#d0d7de"/><text x="{at(second)}" y="26" '
                f'text-anchor="middle">{second} s</text>')
for time, picture in came:
    x = at(time + step / 2)
    if picture in used:
        to = next(i for i, other in enumerate(went) if other[1] == picture)
        draw.append(f'<path d="M{x} 61L{at(went[to][0] + step / 2)} 113" stroke="{NEW}" fill="none"/>'
                    f'<circle cx="{x}" cy="53" r="4" fill="{NEW}"/>')
    else:
        draw.append(f'<path d="M{float(x) - 3.5:.1f} 67.5l7 7m0 -7l-7 7" stroke="{DROP}" stroke-width="2"/>'
                    f'<circle cx="{x}" cy="53" r="4" fill="{DROP}"/>')
for (time, _), repeat in zip(went, repeats):
    draw.append(box(time, time + step, 114, 22, REPEAT if repeat else NEW))
ends, fills = 0.0, []
for begin, end in blocks(source):
    if begin > ends + 0.01:
        fills.append((ends, begin))
    if begin < ends - 0.002:  # what Matroska rounds
        draw.append(box(begin, ends, 202, 10, DROP))
    draw.append(box(max(begin, ends), end, 190, 10, SOUND))
    ends = max(ends, end)
samples = job["audio"]["samples_out"] / job["plan"]["audio"]["target"]["sample_rate"]
draw.append(box(0, samples, 240, 22, SOUND))
assert abs(sum(end - begin for begin, end in fills) - sum(line["filled_seconds"])) < 0.002
draw += [box(begin, end, 240, 22, FILL) for begin, end in fills]
cut = [i for i, part in enumerate(line["cut_seconds"]) if part]
draw.append(f'<text x="{at((cut[0] + cut[-1] + 1) / 2 * step)}" y="231" fill="{DROP}" text-anchor="middle">'
            f'{sum(line["cut_seconds"]):.2f} s cut</text>')
key = [(NEW, "written"), (REPEAT, "repeated"), (DROP, "dropped or cut"), (SOUND, "audio"), (FILL, "filled")]
for i, (colour, text) in enumerate(key):
    draw.append(f'<rect x="{LEFT + i * 140}" y="288" width="14" height="14" rx="2" fill="{colour}"/>'
                f'<text x="{LEFT + 20 + i * 140}" y="300">{text}</text>')
print(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 930 320" font-family="Helvetica, Arial, sans-serif" '
      f'font-size="12.5" fill="{INK}">\n<title>Pictures and audio of an uneven source, and of the output</title>\n'
      '<rect width="930" height="320" rx="10" fill="#fcfcfd"/>')
print("\n".join(draw) + "\n</svg>")
