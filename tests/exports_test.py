"""Compares the names that the shared object exports with tests/data/exports.txt.

A name counts as the class or function it belongs to, so both word sizes share one list. Every name
but one carries the release suffix, itself or in its namespace. Neither this library nor the one that
it stands on may call what writes without a bound, keeps its result where threads share it, or starts
a shell. Usage: exports_test.py LIBRARY TIS [--write]
"""
import pathlib
import re
import subprocess
import sys

LIST = pathlib.Path(__file__).resolve().parent / "data/exports.txt"
UNSUFFIXED = {"ZGetLocale"}  # callers write it so
FOREIGN = re.compile(r"^(std|__gnu_cxx|__cxxabiv1)::|^(_init|_fini|_edata|_end|__bss_start)$")
BANNED = re.compile(r" U ((?:v?sprintf|v?f?scanf|v?sscanf|st[rp]cpy|strn?cat|gets|strtok|strerror|mktemp|tmpnam"
                    r"|tempnam|system|popen|asctime|ctime|gmtime|localtime|getpw\w+)(?:_chk)?)@")


def exported(library):
    names = set()
    out = subprocess.run(["nm", "-DCP", "--defined-only", library],
                         check=True, text=True, capture_output=True).stdout
    for line in out.splitlines():
        name, kind = re.match(r"(.*?) ([A-Za-z])(?: [0-9a-f]+){0,2} *$", line).groups()
        name = re.sub(r"^(vtable|typeinfo|typeinfo name|guard variable) for ", "", name)
        name = re.sub(r"^(non-)?virtual thunk to ", "", name)
        name = re.sub(r"[(<].*", "", name)
        # Templates of the standard library that every module instantiates for itself.
        if kind in "WVu" and not name.startswith("Z") or FOREIGN.search(name):
            continue
        names.add(name if name.startswith("z_5_1::") else name.split("::")[0])
    return names


def main():
    names = exported(sys.argv[1])
    if "--write" in sys.argv:
        LIST.write_text("".join(f"{name}\n" for name in sorted(names)))
    listed = set(LIST.read_text().split())
    faults = [f"exported, but not in {LIST.name}: {name}" for name in sorted(names - listed)]
    faults += [f"in {LIST.name}, but not exported: {name}" for name in sorted(listed - names)]
    faults += [f"without the suffix _5_1: {name}" for name in sorted(names)
               if "_5_1" not in name and name not in UNSUFFIXED]
    for library in sys.argv[1:3]:
        calls = subprocess.run(["nm", "-D", library], check=True, text=True, capture_output=True).stdout
        faults += [f"{library} calls {name}" for name in BANNED.findall(calls)]
    print("\n".join(faults) or f"{len(names)} exported names, all listed")
    return 1 if faults or not names else 0


sys.exit(main())
