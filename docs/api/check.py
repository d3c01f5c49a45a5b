"""Counts the names that the API reference explains, from the XML that Doxygen wrote, and fails with
a list of those that it does not: Doxygen itself says nothing of values and unnamed enumerations.

Usage: check.py FOLDER
"""
import collections
import pathlib
import sys
import xml.etree.ElementTree as tree

PLURALS = {"class": "classes", "variable": "fields", "define": "macros", "enum": "enumerations",
           "typedef": "types", "struct": "structures"}


def names(node, place=""):
    """What callers see in a node: kind, id, place and name, and whether it has a text."""
    if node.get("prot") == "private":
        return
    if node.tag in ("compounddef", "memberdef", "enumvalue"):
        kind = node.get("kind", "value")
        if kind in ("page", "group", "dir", "friend") or node.findtext("compoundname") == "groups.dox":
            return
        found = node.find("location")
        if found is not None:
            place = f"src/{found.get('file')}:{found.get('line')}"
        name = next(filter(None, map(node.findtext, ("compoundname", "definition", "name"))))
        texts = [*node.findall("briefdescription"), *node.findall("detaileddescription")]
        explained = any("".join(text.itertext()).strip() for text in texts)
        yield kind, node.get("id"), f"{place}: {kind} {name}", explained
    for child in node:
        yield from names(child, place)


def main():
    known = {}
    for file in sorted(pathlib.Path(sys.argv[1]).glob("*.xml")):
        for kind, identity, name, explained in names(tree.parse(file).getroot()):
            known[identity] = (kind, name, explained)
    silent = [name for _, name, explained in known.values() if not explained]
    count = collections.Counter(PLURALS.get(kind, kind + "s") for kind, *_ in known.values())
    if silent:
        print(*silent, f"{len(silent)} names have no text.", sep="\n")
    elif count:
        kinds = ", ".join(f"{number} {kind}" for kind, number in count.most_common())
        print(f"{count.total()} names, all explained: {kinds}")
    return 1 if silent or not count else 0


sys.exit(main())
