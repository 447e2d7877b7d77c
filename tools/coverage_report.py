"""Prints what a coverage build has counted: coverage_report.py BUILD ROOM...

Lines and branches per file of the rooms (directories of the tree), and every line that never ran or
has a branch that was never taken. Lines of braces alone do not count. A line that several functions
stand for, as the instances of a template do, has run when one of them has; a branch likewise.
"""
import collections
import json
import os
import subprocess
import sys


def decisions(branches):
    """The counts of the branches that the source has: not the pairs that the compiler adds to every
    call that may throw."""
    counts = []
    i = 0
    while i < len(branches):
        if any(branch["throw"] for branch in branches[i:i + 2]):
            i += 2
            continue
        counts.append(branches[i]["count"])
        i += 1
    return counts


def counted(build, rooms):
    """file -> line -> [times run, [times taken per branch]]"""
    notes = sorted(os.path.join(path, name) for path, _, names in os.walk(build)
                   for name in names if name.endswith(".gcno"))
    output = subprocess.run(["gcov", "--branch-probabilities", "--json-format", "--stdout", *notes],
                            check=True, capture_output=True, text=True).stdout
    functions = {}  # of every object file: the same line of a header is in many
    for report in map(json.loads, output.splitlines()):
        for file in report["files"]:
            name = os.path.relpath(os.path.join(report["current_working_directory"], file["file"]))
            if name.split(os.sep)[0] not in rooms:
                continue
            source = open(name, encoding="utf-8").read().splitlines()
            for line in file["lines"]:
                # At the end of a block stand the destructors that run when an exception passes.
                if set(source[line["line_number"] - 1].strip()) <= set("{});"):
                    continue
                taken = decisions(line["branches"])
                key = name, line["line_number"], len(taken)
                total = functions.setdefault(key, [0, [0] * len(taken)])
                total[0] += line["count"]
                total[1] = [a + b for a, b in zip(total[1], taken)]
    lines = collections.defaultdict(dict)
    for (name, number, _), (count, taken) in sorted(functions.items()):
        total = lines[name].setdefault(number, [0, []])
        total[0] += count
        total[1] += taken
    return lines


def percent(part, whole):
    # Rounded down, so that only all is 100 %.
    return f"{1000 * part // whole / 10:5.1f} %" if whole else "      -"


def main():
    build, *rooms = sys.argv[1:]
    missing = []
    totals = [0, 0, 0, 0]

    def row(name, figures):
        run, lines, taken, branches = figures
        print(f"{name:44}{run:6} of {lines:5} {percent(run, lines)}"
              f"{taken:7} of {branches:5} {percent(taken, branches)}")

    print(f"{'':44}{'lines run':>22}{'branches taken':>23}")
    for name, lines in sorted(counted(build, rooms).items()):
        source = open(name, encoding="utf-8").read().splitlines()
        figures = [0, 0, 0, 0]
        for number, (count, branches) in sorted(lines.items()):
            taken = sum(1 for branch in branches if branch)
            figures = [a + b for a, b in zip(figures, (count > 0, 1, taken, len(branches)))]
            if count and taken == len(branches):
                continue
            what = f"{taken} of {len(branches)} branches taken" if count else "never run"
            missing.append(f"{name}:{number}: {what}: {source[number - 1].strip()}")
        row(name, figures)
        totals = [a + b for a, b in zip(totals, figures)]
    row("all", totals)
    print("\n".join(missing))


if __name__ == "__main__":
    main()
