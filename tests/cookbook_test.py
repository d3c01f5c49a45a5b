#!/usr/bin/env python3
"""cookbook_test.py FOLDER SOURCE: docs/cookbook.md shows the programs of examples/cookbook/ as they
are, and what they print; FOLDER holds the programs as cookbook_<name>, and the plug-in greeting.so."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

SECTION = re.compile(r"^`(examples/cookbook/(\w+)\.\w+)`\n\n```\w+\n(.*?)```\n\nprints\n\n```\n(.*?)```$",
                     re.MULTILINE | re.DOTALL)


def main(folder, source):
    sections = SECTION.findall((source / "docs/cookbook.md").read_text())
    there = {path.name for path in (source / "examples/cookbook").iterdir()} - {"greeting.c"}
    shown = {path.split("/")[-1] for path, *_ in sections}
    faults = [f"docs/cookbook.md does not show {name}" for name in sorted(there - shown)]
    for path, name, code, printed in sections:
        if (source / path).read_text() != code:
            faults.append(f"docs/cookbook.md shows another {path}")
        with tempfile.TemporaryDirectory() as here:
            for needed in (source / "examples/server.conf", folder / "greeting.so"):
                shutil.copy(needed, here)
            done = subprocess.run([folder / f"cookbook_{name}", "server.conf"], cwd=here, capture_output=True,
                                  text=True, timeout=60, check=False)
        if (done.returncode, done.stdout) != (0, printed):
            faults.append(f"{path} ends with {done.returncode} and prints {done.stdout!r}, not {printed!r}")
    print("\n".join(faults) or f"{len(sections)} programs")
    return 1 if faults or not sections else 0


sys.exit(main(*map(pathlib.Path, sys.argv[1:])))
