"""Compiles every header of the library alone, twice included, with all warnings as errors.

A header whose first line is a C comment is one for C callers and is compiled as C89 and C11 too.
Z.h has to include every other public C++ header.
Usage: headers_test.py C-COMPILER C++-COMPILER [FLAG...]
"""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WARNINGS = ["-Wall", "-Wextra", "-Wconversion", "-Werror", "-pedantic", "-fsyntax-only"]
CXX = ["-x", "c++", "-std=c++17", "-Woverloaded-virtual"]
C = [["-x", "c", "-std=c89"], ["-x", "c", "-std=c11"]]


def compile_alone(job):
    compiler, options, header = job
    name = header.relative_to(ROOT / "src")
    # The name in angle brackets is how clients and tests write it.
    run = subprocess.run([*compiler, *options, *WARNINGS, f"-I{ROOT / 'src'}", "-"],
                         input=f"#include <{name}>\n" * 2 + "typedef int only;\n", text=True, capture_output=True)
    return f"{name} with {compiler[0]} {' '.join(options)}:\n{run.stderr}" if run.returncode else ""


def missing_in_umbrella(headers):
    lists = (ROOT / "src/Z/CMakeLists.txt").read_text()
    internal = re.search(r"set\(Z_INTERNAL_HEADERS ([^)]*)\)", lists)[1].split()
    included = re.findall(r'#include "(\w+\.h)"', (ROOT / "src/Z/Z.h").read_text())
    public = {header.name for header in headers if not header.read_text().startswith("/*")}
    return [f"src/Z/Z.h does not include {name}"
            for name in sorted(public - {*internal, *included, "Z.h"})]


def main():
    cc, cxx, flags = sys.argv[1], sys.argv[2], sys.argv[3:]
    headers = sorted(ROOT.glob("src/Z/*.h")) + sorted(ROOT.glob("src/tis/tis.h"))
    jobs = [([cxx, *flags], CXX, header) for header in headers]
    jobs += [([cc, *flags], options, header) for header in headers
             if header.read_text().startswith("/*") for options in C]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        faults = [fault for fault in pool.map(compile_alone, jobs) if fault]
    faults += missing_in_umbrella(headers)
    print("\n".join(faults) or f"{len(headers)} headers, {len(jobs)} compilations: all stand alone")
    return 1 if faults or not headers else 0


sys.exit(main())
