"""Reads the lists of src/Z/CMakeLists.txt, the banner of every file and its #include lines.

Reports a file without a banner, a banner that differs from the lists, a unit in no list and an
include that points up, with what would be allowed instead. Usage: layers_test.py [SOURCE-FOLDER]
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SUPPORT = {"zexport", "zraise"}  # macros and templates that name no unit: everyone includes them

# Of the base knot, one source hands its results out in a buffer; its header only names the class.
EXCEPTIONS = {("ZTISUTF8Converter", "ZBuffer")}


def read_lists(cmake):
    """{unit: (layer, place, subsystem)}, the place being that in the order of the lists."""
    units = {}
    for subsystem, words in re.findall(r"z_units\((\w+)\s([^)]*)\)", cmake):
        layer = None
        for word in words.split():
            if word.isdigit():
                layer = int(word)
            else:
                units[word] = (layer, len(units), subsystem)
    return units


def allowed(user, used, units, is_source):
    layer, place, _ = units[user]
    used_layer, used_place, _ = units[used]
    if is_source and (user, used) in EXCEPTIONS:
        return True
    if used_layer <= 1 and (layer == 1 or is_source):
        return True  # the base knot; every source may throw
    return used_layer < layer or (used_layer == layer and used_place <= place)


def check_file(path, units):
    lines = path.read_text().splitlines()
    head = re.match(r"(?://|/\*) (\w+): .+", lines[0] if lines else "")
    place = re.search(r"Subsystem: (\w+), layer (\d+)\. Test: (\S+)", "\n".join(lines[1:4]))
    if not head or not place or head[1] != path.stem:
        yield 1, f"opens with no banner of the form '// {path.stem}: purpose.', '// Subsystem: ...'"
    elif path.stem in units or path.stem in SUPPORT:
        layer, _, subsystem = units.get(path.stem, (0, 0, "model"))
        if (place[1], int(place[2])) != (subsystem, layer):
            yield 2, f"the banner says {place[1]}, layer {place[2]}; the list {subsystem}, layer {layer}"
        if not list(ROOT.glob(place[3] + "*")):
            yield 2, f"there is no {place[3]}"
    if path.stem in SUPPORT:
        return
    if path.stem not in units:
        yield 1, "the unit is in no list of src/Z/CMakeLists.txt"
        return
    for number, line in enumerate(lines, 1):
        include = re.match(r'\s*#\s*include\s*(["<])(?:\.\./)?((?:Z/)?)(\w+)\.h[">]', line)
        if not include or include[3] not in units:
            continue
        if include[1] == "<" or include[2]:
            yield number, f'inside the library this is written #include "{include[3]}.h"'
        elif not allowed(path.stem, include[3], units, path.suffix == ".cpp"):
            layer = units[path.stem][0]
            peers = [u for u in units if units[u][0] == layer and units[u][1] < units[path.stem][1]]
            yield number, (
                f"{path.stem} (layer {layer}) may not include {include[3]} (layer {units[include[3]][0]})"
                f"; allowed are the layers below {layer} and {', '.join(peers) or 'none of its own'}")


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "src/Z"
    units = read_lists((folder / "CMakeLists.txt").read_text())
    files = sorted(f for f in folder.iterdir() if f.suffix in (".h", ".cpp"))
    faults = [f"{f}:{number}: {text}" for f in files for number, text in check_file(f, units)]
    print("\n".join(faults) or f"{len(files)} files, {len(units)} units: every include points down")
    return 1 if faults or not files else 0


sys.exit(main())
