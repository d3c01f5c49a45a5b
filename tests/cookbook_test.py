#!/usr/bin/env python3
"""cookbook_test.py FOLDER SOURCE: docs/cookbook.md shows the programs of examples/cookbook/ as they
are, and what they print; FOLDER holds the programs as cookbook_<name>, and the plug-in greeting.so."""
import os
import re
import shutil
import subprocess
import sys
import tempfile

SECTION = re.compile(r"^`(examples/cookbook/(\w+)\.\w+)`\n\n```\w+\n(.*?)```\n\nprints\n\n```\n(.*?)```$",
                     re.MULTILINE | re.DOTALL)


def run(program, source, folder):
    with tempfile.TemporaryDirectory() as here:
        shutil.copy(os.path.join(source, "examples/server.conf"), here)
        shutil.copy(os.path.join(folder, "greeting.so"), here)
        done = subprocess.run([program, "server.conf"], cwd=here, capture_output=True, text=True,
                              timeout=60, check=False)
        return done.returncode, done.stdout


def main(folder, source):
    with open(os.path.join(source, "docs/cookbook.md")) as text:
        sections = SECTION.findall(text.read())
    shown = {os.path.basename(path) for path, *_ in sections}
    there = set(os.listdir(os.path.join(source, "examples/cookbook"))) - {"greeting.c"}
    faults = [f"docs/cookbook.md does not show {name}" for name in sorted(there - shown)]
    for path, name, code, printed in sections:
        with open(os.path.join(source, path)) as program:
            if program.read() != code:
                faults.append(f"docs/cookbook.md shows another {path}")
        result = run(os.path.join(folder, "cookbook_" + name), source, folder)
        if result != (0, printed):
            faults.append(f"{path} ends with {result[0]} and prints {result[1]!r}, not {printed!r}")
    print("\n".join(faults) or f"{len(sections)} programs")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
