"""What the installed headers say is public, for script/abi.

abi_public.py symbols HEADERS LIBRARY  the symbols that callers can depend on, as a list for abidw.
    Not those of classes that no header defines, and not inline functions, which callers have of
    their own wherever the library's copy goes.
abi_public.py types HEADERS  a program that names every class, union and enumeration that a header
    defines: the library tells nothing of those that it only points to.
"""
import pathlib
import re
import subprocess
import sys

FUNCTION = re.compile(r"\b(\w+)\s*\(")
TYPE = re.compile(r"^(class|struct|union|enum) (?:Z_API )?(\w+)\b[^;()]*\{", re.M)
SPECIAL = re.compile(r"^((non-)?virtual thunk to|(vtable|typeinfo|typeinfo name) for) ")

folder = pathlib.Path(sys.argv[2])
headers = sorted(folder.rglob("*.h"))
text = "".join(header.read_text() for header in headers)
types = {name: kind for kind, name in TYPE.findall(text)}
if sys.argv[1] == "symbols":
    public = types.keys() | set(FUNCTION.findall(text))
    print("[abi_whitelist]")
    listed = subprocess.run(["nm", "-D", "--defined-only", sys.argv[3]], check=True, text=True,
                            capture_output=True).stdout
    pairs = [line.split()[1:] for line in listed.splitlines()]
    names = subprocess.run(["c++filt"], input="\n".join(symbol for _, symbol in pairs), check=True,
                           text=True, capture_output=True).stdout.splitlines()
    for (kind, symbol), name in zip(pairs, names):
        if kind not in "Wu" and re.split(r"[:<(\[]", SPECIAL.sub("", name))[0] in public:
            print(" ", symbol)
else:
    for header in headers:
        print(f"#include <{header.relative_to(folder)}>")
    for name, kind in sorted(types.items()):
        print(f'extern "C" void {name}_is({kind} {name}*) {{}}')
