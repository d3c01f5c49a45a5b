"""Shows Z's objects in GDB as what they hold: texts, members, pairs, settings, failures.

GDB loads this by itself with the library, as libZ-5.1.so-gdb.py: beside a library that was built in
its tree (after `add-auto-load-safe-path`), or from its auto-load folder when it is installed.
"""
import gdb
import gdb.printing


def suffixed(name):
    return name + "_5_1"


def whole(reference):
    """The object that a pointer or reference to a base points to, as what it is."""
    try:
        if reference.type.code == gdb.TYPE_CODE_PTR:
            if int(reference) == 0:
                return reference
            reference = reference.cast(reference.dynamic_type)
            return reference.dereference()
        return reference.cast(reference.dynamic_type)
    except gdb.error:
        return reference


def text_of(chars, length=None):
    if int(chars) == 0:
        return None
    if length is None:
        return chars.string(errors="backslashreplace")
    return chars.string(errors="backslashreplace", length=length)


class Text:
    """A string of either codeset, with its bytes."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return self.value["buffer_"].lazy_string(length=int(self.value["length_"]))

    def display_hint(self):
        return "string"


class ConstText:
    """A read-only view."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return self.value["chars_"]

    def display_hint(self):
        return "string"


class Members:
    """A list, stack or array of objects, each shown as what it is."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        owner = ", owned" if int(self.value["ownsMembers_"]) else ""
        return f"{self.value.type.strip_typedefs().name} of {int(self.value['size_'])}{owner}"

    def children(self):
        for index in range(int(self.value["size_"])):
            yield f"[{index}]", whole(self.value["elements_"][index])

    def display_hint(self):
        return "array"


class KeyMap:
    """Keys and values, in the order in which the keys were first put."""

    def __init__(self, value):
        self.value = value
        pairs = value["pairs_"]["_M_impl"]
        self.pairs = [
            pairs["_M_start"][index]
            for index in range(int(pairs["_M_finish"] - pairs["_M_start"]))
            if not pairs["_M_start"][index]["removed"]
        ]

    def to_string(self):
        return f"{self.value.type.strip_typedefs().name} of {len(self.pairs)}"

    def children(self):
        for number, pair in enumerate(self.pairs):
            yield f"key {number}", whole(pair["key"])
            yield f"value {number}", whole(pair["value"])

    def display_hint(self):
        return "map"


class HashMap:
    """Objects of a map, bucket by bucket."""

    def __init__(self, value):
        buckets = value["buckets_"]
        self.name = value.type.strip_typedefs().name
        self.members = []
        for slot in range(int(buckets["size_"])):
            bucket = whole(buckets["elements_"][slot])
            if bucket.type.code != gdb.TYPE_CODE_PTR:
                for index in range(int(bucket["size_"])):
                    self.members.append(whole(bucket["elements_"][index]))

    def to_string(self):
        return f"{self.name} of {len(self.members)}"

    def children(self):
        for index, member in enumerate(self.members):
            yield f"[{index}]", member

    def display_hint(self):
        return "array"


class KeyEntry:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return self.value.type.strip_typedefs().name

    def children(self):
        yield "key", whole(self.value["key_"])
        yield "value", whole(self.value["value_"])


class Failure:
    """An exception: its name, its code and all that it tells."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        base = self.value.cast(gdb.lookup_type(suffixed("ZException")))
        place = text_of(base["file_"])
        where = f" thrown at {place}:{int(base['line_'])}" if place else ""
        return f"{text_of(base['name_'])} code {int(base['code_'])}{where}"

    def children(self):
        yield from self.fields(self.value)

    def fields(self, value):
        for field in value.type.strip_typedefs().fields():
            if field.name == suffixed("ZException") or field.name.startswith("_vptr"):
                continue
            if field.is_base_class:
                yield from self.fields(value[field])
            elif not field.is_static if hasattr(field, "is_static") else hasattr(field, "bitpos"):
                yield field.name.rstrip("_"), value[field]


class Properties:
    """Settings: the file, whether there are changes to store, and each stanza with its keys."""

    most = 1000  # lines of a stanza, stanzas of a file

    def __init__(self, value):
        self.value = value

    def to_string(self):
        base = self.value.cast(gdb.lookup_type(suffixed("ZProperties")))
        name = text_of(base["fileName_"]["buffer_"], int(base["fileName_"]["length_"]))
        changed = int(base["modified_"]["_M_i"])
        return f'settings of "{name}"' + (", changed" if changed else "")

    def children(self):
        base = self.value.cast(gdb.lookup_type(suffixed("ZProperties")))
        store = whole(base["store_"])
        if store.type.code == gdb.TYPE_CODE_PTR:
            return
        # A unique_ptr is its pointer.
        pointer = store["content_"].type.template_argument(0).pointer()
        held = store["content_"].address.cast(pointer.pointer()).dereference()
        stanza = whole(held)["firstStanza"]
        for _ in range(self.most):
            if int(stanza) == 0:
                return
            yield text_of(stanza["name_"]["chars"]), stanza.dereference()
            stanza = stanza["nextStanza"]


class Stanza:
    """The keys of a stanza that have a line, with their first values."""

    key_line = 8
    in_lists = 3

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{int(self.value['count_'])} keys"

    def children(self):
        key = gdb.lookup_type("z" + suffixed("") + "::PropKey").pointer()
        line = self.value["lines_"]["first_"]
        for _ in range(Properties.most):
            if int(line) == 0:
                return
            if int(line["type"]) == self.key_line:
                node = line.cast(key)
                if int(node["values"]) == self.in_lists:
                    yield text_of(line["text"]), whole(node["pair"])
                elif int(node["values"]):
                    yield text_of(line["text"]), node["value"]
                else:
                    yield text_of(line["text"]), "no value"
            line = line["next"]


class Lookup(gdb.printing.PrettyPrinter):
    """Finds the printer by the class, or by the nearest base that has one."""

    printers = {
        "ZAbstractMutableString": Text,
        "ZAbstractConstString": ConstText,
        "ZArrayList": Members,
        "ZArray": Members,
        "ZHashKeyMap": KeyMap,
        "ZHashMap": HashMap,
        "ZKeyEntry": KeyEntry,
        "ZException": Failure,
        "ZProperties": Properties,
        "ZPKVList": Stanza,
    }

    def __init__(self):
        super().__init__(suffixed("Z"), [])
        self.by_name = {suffixed(name): printer for name, printer in self.printers.items()}

    def __call__(self, value):
        kind = value.type.strip_typedefs()
        if kind.code == gdb.TYPE_CODE_REF:
            kind = kind.target().strip_typedefs()
            if self.is_root(kind.unqualified()):
                value = whole(value).referenced_value()
                kind = value.type.strip_typedefs()
        printer = self.find(kind.unqualified())
        return printer(value) if printer else None

    def is_root(self, kind):
        return kind.name == suffixed("ZObject")

    def find(self, kind):
        if kind.code != gdb.TYPE_CODE_STRUCT or kind.name is None:
            return None
        if kind.name in self.by_name:
            return self.by_name[kind.name]
        for field in kind.fields():
            if not field.is_base_class:
                continue
            found = self.find(field.type.strip_typedefs())
            if found:
                return found
        return None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Lookup(), replace=True)
