"""Shows Z's objects in GDB as what they hold: texts, members, pairs, settings, failures.

GDB loads this by itself with the library, as libZ-5.1.so-gdb.py: beside a library that was built in
its tree (after `add-auto-load-safe-path`), or from its auto-load folder when it is installed.
"""
import gdb
import gdb.printing


def suffixed(name):
    return name + "_5_1"


def whole(pointer):
    """The object that a pointer to a base points to, as what it is; else the pointer."""
    try:
        if int(pointer) == 0:
            return pointer
        kind = pointer.dynamic_type
        # Over memory that is no object, or none any more, GDB finds any class, or none.
        if kind.target().strip_typedefs().name is None:
            kind = pointer.type
        found = pointer.cast(kind).dereference()
        found.fetch_lazy()
        return found
    except gdb.error:
        return pointer


def readable(start, count):
    """Raises gdb.error unless the first and the last of so many elements can be read."""
    if count < 0:
        raise gdb.error("no number of elements")
    for index in {0, count - 1} if count else ():
        (start + index).dereference().fetch_lazy()


def name_of(value):
    return value.type.strip_typedefs().name


def text_of(chars):
    return chars.string(errors="backslashreplace") if int(chars) else None


# A printer's constructor raises gdb.error for memory that cannot be an object: GDB then shows the
# members as they are. That is what variables hold before their constructor ran.


class Text:
    """A string of either codeset, with its bytes."""

    def __init__(self, value):
        self.chars = value["buffer_"]
        self.length = int(value["length_"])
        readable(self.chars, self.length)

    def to_string(self):
        return self.chars.lazy_string(length=self.length)

    def display_hint(self):
        return "string"


class ConstText:
    """A read-only view."""

    def __init__(self, value):
        self.chars = value["chars_"]
        readable(self.chars, 1)

    def to_string(self):
        return self.chars.lazy_string()

    def display_hint(self):
        return "string"


class Members:
    """A list, stack or array of objects, each shown as what it is."""

    def __init__(self, value):
        self.value = value
        self.size = int(value["size_"])
        readable(value["elements_"], self.size)

    def to_string(self):
        owner = ", owned" if int(self.value["ownsMembers_"]) else ""
        return f"{name_of(self.value)} of {self.size}{owner}"

    def children(self):
        for index in range(self.size):
            yield f"[{index}]", whole(self.value["elements_"][index])

    def display_hint(self):
        return "array"


class KeyMap:
    """Keys and values, in the order in which the keys were first put."""

    def __init__(self, value):
        self.name = name_of(value)
        pairs = value["pairs_"]["_M_impl"]
        self.first = pairs["_M_start"]
        self.number = int(pairs["_M_finish"] - self.first)
        self.size = self.number - int(value["holes_"])
        readable(self.first, self.number)
        readable(self.first, min(self.size, 1))

    def to_string(self):
        return f"{self.name} of {self.size}"

    def children(self):
        for index in range(self.number):
            pair = self.first[index]
            if not pair["removed"]:
                yield f"key {index}", whole(pair["key"])
                yield f"value {index}", whole(pair["value"])

    def display_hint(self):
        return "map"


class JavaProperties(KeyMap):
    """The pairs of a Java properties file."""

    def __init__(self, value):
        super().__init__(value["entries_"])
        self.name = name_of(value)


class HashMap:
    """Objects of a map, bucket by bucket."""

    most = 10000  # buckets that are counted

    def __init__(self, value):
        self.name = name_of(value)
        self.buckets = value["buckets_"]["elements_"]
        self.slots = int(value["buckets_"]["size_"])
        readable(self.buckets, self.slots)
        sizes = [self.size(slot) for slot in range(min(self.slots, self.most))]
        self.told = f"{'more than ' if self.slots > self.most else ''}{sum(sizes)}"

    def size(self, slot):
        bucket = whole(self.buckets[slot])
        return 0 if bucket.type.code == gdb.TYPE_CODE_PTR else int(bucket["size_"])

    def to_string(self):
        return f"{self.name} of {self.told}"

    def children(self):
        for slot in range(self.slots):
            for index in range(self.size(slot)):
                yield f"[{slot}:{index}]", whole(whole(self.buckets[slot])["elements_"][index])

    def display_hint(self):
        return "array"


class KeyEntry:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return name_of(self.value)

    def children(self):
        yield "key", whole(self.value["key_"])
        yield "value", whole(self.value["value_"])


class Failure:
    """An exception: its name, its code and all that it tells."""

    def __init__(self, value):
        self.value = value
        base = value.cast(gdb.lookup_type(suffixed("ZException")))
        place = text_of(base["file_"])
        where = f" thrown at {place}:{int(base['line_'])}" if place else ""
        self.told = f"{text_of(base['name_'])} code {int(base['code_'])}{where}"

    def to_string(self):
        return self.told

    def children(self):
        yield from self.fields(self.value)

    def fields(self, value):
        for field in value.type.strip_typedefs().fields():
            if field.name == suffixed("ZException") or field.name.startswith("_vptr"):
                continue
            if field.is_base_class:
                yield from self.fields(value[field])
            elif hasattr(field, "bitpos"):
                yield field.name.rstrip("_"), value[field]


class Properties:
    """Settings: the file, whether there are changes to store, and each stanza with its keys."""

    most = 1000  # lines of a stanza, stanzas of a file

    def __init__(self, value):
        base = value.cast(gdb.lookup_type(suffixed("ZProperties")))
        name = Text(base["fileName_"])
        if name.length > 4096:
            raise gdb.error("no file's name")
        told = name.chars.string(errors="backslashreplace", length=name.length)
        self.told = f'settings of "{told}"' + (", changed" if int(base["modified_"]["_M_i"]) else "")
        self.store = base["store_"]

    def to_string(self):
        return self.told

    def children(self):
        try:
            # A unique_ptr is its pointer.
            content = whole(self.store)["content_"]
            pointer = content.type.template_argument(0).pointer().pointer()
            stanza = whole(content.address.cast(pointer).dereference())["firstStanza"]
            for _ in range(self.most):
                if int(stanza) == 0:
                    break
                name = stanza["name_"]["chars"].string(errors="backslashreplace")
                yield name, whole(stanza)
                stanza = stanza["nextStanza"]
        except gdb.error:  # the library has no symbols, or the memory is no settings any more
            pass


class Stanza:
    """The keys of a stanza, with their values."""

    key_line = 8
    in_lists = 3

    def __init__(self, value):
        self.value = value
        self.told = f"{int(value['count_'])} keys"

    def to_string(self):
        return self.told

    def children(self):
        try:
            # Obfuscated keys have no line.
            yield from self.keys(self.value["lines_"]["first_"])
            yield from self.keys(self.value["unplaced_"]["first_"])
        except gdb.error:
            pass

    def keys(self, line):
        key = gdb.lookup_type("z" + suffixed("") + "::PropKey").pointer()
        for _ in range(Properties.most):
            if int(line) == 0:
                return
            if int(line["type"]) == self.key_line:
                yield line["text"].string(errors="backslashreplace"), self.held(line.cast(key))
            line = line["next"]

    def held(self, key):
        kind = int(key["values"])
        if kind == self.in_lists:
            # The plain values and the obfuscated ones: a key has those of one kind.
            lists = [whole(whole(key["pair"])["elements_"][index]) for index in range(2)]
            return lists[0] if int(lists[0]["size_"]) else lists[1]
        return key["value"].lazy_string(length=int(key["valueLength"])) if kind else "no value"


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
        "ZJavaProperties": JavaProperties,
        "ZProperties": Properties,
        "ZPKVList": Stanza,
    }

    def __init__(self):
        super().__init__(suffixed("Z"), [])
        self.by_name = {suffixed(name): printer for name, printer in self.printers.items()}

    def __call__(self, value):
        try:
            if value.type.strip_typedefs().code == gdb.TYPE_CODE_REF:
                value = value.referenced_value()
            kind = value.type.strip_typedefs().unqualified()
            printer = self.find(kind)
            if (printer or kind.name == suffixed("ZObject")) and value.address is not None:
                value = whole(value.address.cast(kind.pointer()))
                printer = self.find(value.type.strip_typedefs().unqualified())
            return printer(value) if printer else None
        except gdb.error:
            return None

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
