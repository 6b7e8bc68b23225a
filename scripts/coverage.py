"""Sums up what llvm-cov has exported by the parts of the project, and names the lines that were never reached."""
import collections
import json
import os
import sys

# Least shares in per cent: of lines, of branches.
PARTS = {
    "library": (("text", "log", "Common", "plugin_host", "media_file"), 99.0, 92.0),
    "host": (("host",), 92.0, 0.0),
    "plug-ins": (("plugins",), 92.0, 0.0),
}


def read_lines(path):
    """Per file, {line: count} from a file in lcov's form."""
    lines = collections.defaultdict(dict)
    name = ""
    with open(path, encoding="utf-8") as file:
        for record in file:
            kind, _, rest = record.strip().partition(":")
            if kind == "SF":
                name = os.path.relpath(rest)
            elif kind == "DA":
                line, count = rest.split(",")[:2]
                lines[name][int(line)] = int(count)
    return lines


def read_branches(path):
    """Per file, {(line, column, whether the condition held): count} from llvm-cov's JSON. Copies of a template count as
    one."""
    branches = collections.defaultdict(collections.Counter)
    with open(path, encoding="utf-8") as file:
        for entry in json.load(file)["data"][0]["files"]:
            counts = branches[os.path.relpath(entry["filename"])]
            for line, column, _, _, held, failed, *_ in entry["branches"]:
                counts[line, column, True] += held
                counts[line, column, False] += failed
    return branches


def ranges(numbers):
    """(3, 5) and (9, 9) for 3, 4, 5 and 9."""
    groups = []
    for number in sorted(numbers):
        if groups and number == groups[-1][1] + 1:
            groups[-1][1] = number
        else:
            groups.append([number, number])
    return groups


def leave_out_constants(name, lines, branches):
    """Functions that work while the project is compiled are never seen to run: those are constexpr, and a warning tells
    of functions that nobody uses."""
    with open(name, encoding="utf-8") as file:
        source = file.readlines()
    for first, last in ranges(line for line, count in lines.items() if count == 0):
        head = "".join(source[max(first - 6, 0):first + 1]).rpartition("}\n")[2]
        if "constexpr" in head and "{" in "".join(source[first - 1:first + 1]):
            for line in range(first, last + 1):
                del lines[line]
            for key in [key for key in branches if first <= key[0] <= last]:
                del branches[key]


def share(counts):
    reached = sum(count > 0 for count in counts)
    return 100.0 * reached / len(counts) if counts else 100.0


def main():
    lines, branches = read_lines(sys.argv[1]), read_branches(sys.argv[2])
    wanted = tuple(sys.argv[3:])
    good = True
    for part, (folders, least_lines, least_branches) in PARTS.items():
        files = sorted(name for name in lines if name.split("/")[0] in folders)
        for name in files:
            leave_out_constants(name, lines[name], branches[name])
        line_share = share([count for name in files for count in lines[name].values()])
        branch_share = share([count for name in files for count in branches[name].values()])
        is_good = line_share >= least_lines and branch_share >= least_branches
        good = good and is_good
        print(f"{part}: {line_share:.1f} % of the lines (at least {least_lines:.0f}), "
              f"{branch_share:.1f} % of the branches (at least {least_branches:.0f})"
              + ("" if is_good else ": too few"))
        for name in files:
            missing = [line for line, count in lines[name].items() if count == 0]
            if missing and (not wanted or name.startswith(wanted)):
                print(f"  {name}: " + ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in ranges(missing)))
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
