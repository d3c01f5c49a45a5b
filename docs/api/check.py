"""Counts the names that the API reference explains, from the XML that Doxygen wrote, and fails with
a list of those that it does not: Doxygen itself says nothing of values and unnamed enumerations.

Usage: check.py FOLDER
"""
import collections
import pathlib
import sys
import xml.etree.ElementTree as tree

PLURALS = {"class": "classes", "enumvalue": "values", "variable": "fields", "define": "macros"}


def names(folder):
    """Every class, member and value once: its kind, name, place, and whether it has a text."""
    known = set()
    for file in sorted(folder.glob("*.xml")):
        root = tree.parse(file).getroot()
        for node in root.iter():
            kind = node.get("kind", node.tag)
            if node.get("id") in known or kind in ("friend", "dir", "page", "group"):
                continue
            if node.tag not in ("compounddef", "memberdef", "enumvalue"):
                continue
            known.add(node.get("id"))
            name = node.findtext("compoundname") or node.findtext("definition") or node.findtext("name")
            place = node.find("location")
            where = f"src/{place.get('file')}:{place.get('line')}: " if place is not None else ""
            texts = [*node.findall("briefdescription"), *node.findall("detaileddescription")]
            yield kind, f"{where}{kind} {name}", any("".join(text.itertext()).strip() for text in texts)


def main():
    count = collections.Counter()
    silent = []
    for kind, name, explained in names(pathlib.Path(sys.argv[1])):
        count[PLURALS.get(kind, kind + "s")] += 1
        if not explained:
            silent.append(name)
    if silent:
        print(*silent, f"{len(silent)} names have no text.", sep="\n")
    elif count:
        kinds = ", ".join(f"{number} {kind}" for kind, number in count.most_common())
        print(f"{count.total()} names, all explained: {kinds}")
    return 1 if silent or not count else 0


sys.exit(main())
