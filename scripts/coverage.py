"""Sums up an lcov file by the parts of the project, and names the lines that were never reached."""
import collections
import os
import sys

# Least shares in per cent: of lines, of branches.
PARTS = {
    "library": (("text", "log", "Common", "plugin_host", "media_file"), 99.0, 92.0),
    "host": (("host",), 92.0, 0.0),
    "plug-ins": (("plugins",), 92.0, 0.0),
}


def read_counts(path):
    """Per file: {line: count} and {(line, branch...): count}. Files and lines come once for each program."""
    lines = collections.defaultdict(lambda: collections.defaultdict(int))
    branches = collections.defaultdict(lambda: collections.defaultdict(int))
    name = ""
    with open(path, encoding="utf-8") as file:
        for record in file:
            kind, _, rest = record.strip().partition(":")
            if kind == "SF":
                name = os.path.relpath(rest)
            elif kind == "DA":
                line, count = rest.split(",")[:2]
                lines[name][int(line)] += int(count)
            elif kind == "BRDA":
                line, block, branch, count = rest.split(",")
                branches[name][int(line), block, branch] += 0 if count == "-" else int(count)
    return lines, branches


def ranges(numbers):
    """"3-5, 9" for 3, 4, 5 and 9."""
    groups = []
    for number in sorted(numbers):
        if groups and number == groups[-1][1] + 1:
            groups[-1][1] = number
        else:
            groups.append([number, number])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in groups)


def share(counts):
    reached = sum(count > 0 for count in counts)
    return 100.0 * reached / len(counts) if counts else 100.0


def main():
    lines, branches = read_counts(sys.argv[1])
    wanted = tuple(sys.argv[2:])
    good = True
    for part, (folders, least_lines, least_branches) in PARTS.items():
        files = sorted(name for name in lines if name.split("/")[0] in folders)
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
                print(f"  {name}: {ranges(missing)}")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
