#!/usr/bin/env python3
"""coverage_report.py LCOV UNCOVERED: the table of script/coverage.

Reads what llvm-cov exports, prints lines and branches per file and together, and writes each line
and branch that was not reached, with its text, to UNCOVERED.
"""
import os
import sys

LINES_WANTED, BRANCHES_WANTED = 97.0, 90.0


def read(path):
    """{file: ({line: reached}, {(line, block, branch): reached})} of the files in src/"""
    files = {}
    with open(path) as text:
        for row in text:
            kind, _, rest = row.strip().partition(":")
            if kind == "SF":
                lines, branches = files.setdefault(os.path.relpath(rest), ({}, {}))
            elif kind == "DA":
                line, count = rest.split(",")[:2]
                lines[int(line)] = lines.get(int(line), False) or count != "0"
            elif kind == "BRDA":
                line, block, branch, count = rest.split(",")
                place = int(line), block, branch
                branches[place] = branches.get(place, False) or count not in ("0", "-")
    return {file: parts for file, parts in files.items() if file.startswith("src/")}


def share(marks):
    return 100.0 * sum(marks.values()) / len(marks) if marks else 100.0


def uncovered(file, lines, branches):
    with open(file) as text:
        source = text.read().split("\n")
    missed = {line for line, reached in lines.items() if not reached}
    half = {place[0] for place, reached in branches.items() if not reached} - missed
    for line in sorted(missed | half):
        mark = "line  " if line in missed else "branch"
        yield f"{file}:{line}: {mark} {source[line - 1].strip()}"


def main(lcov, listing):
    files = read(lcov)
    together = {}, {}
    with open(listing, "w") as out:
        for file, parts in sorted(files.items()):
            print(f"{file:40} lines {share(parts[0]):6.2f} %  branches {share(parts[1]):6.2f} %")
            for whole, part in zip(together, parts):
                whole.update({(file, place): reached for place, reached in part.items()})
            out.writelines(row + "\n" for row in uncovered(file, *parts))
    lines, branches = (share(marks) for marks in together)
    print(f"lines {lines:.2f} % of {len(together[0])}, branches {branches:.2f} % of "
          f"{len(together[1])}; what is not reached: {os.path.relpath(listing)}")
    return 0 if lines >= LINES_WANTED and branches >= BRANCHES_WANTED else 1


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
