"""Shows a header of Z to Doxygen: the plain comments of its declarations become documentation.

Usage, as Doxygen calls it: filter.py HEADER, which prints the header. No line is added or taken
away, so that what Doxygen reports names the header's own lines. The rules, for what stands in a
file, a namespace, a class, a structure or an enumeration (never inside of a function):

1. The first lines, "// ZLock: what it is" and "// Subsystem: concurrency, layer 2. ...", are the
   text of the file, with the comment that follows them. Comments at the level of the file with a
   blank line below are added to it. What the file declares belongs to the group of its subsystem.
2. A comment above a declaration, or behind it on its last line, is its text.
3. A comment above several declarations with no blank line between them is the text of each of
   them, but for those with a comment behind them and for destructors. One above a constructor is
   that of constructors and assignments alone; and what overrides something keeps the text of that
   unless the first one overrides something as well.
4. Copies and assignments without a comment are copies of everything, or not to be had: they get
   that text. Destructors without a comment, and what is defaulted and protected, are left out.
5. Left out as well: what only repeats a name ("using Base::f;"), and macros that headers have for
   themselves: those with arguments, and those undefined at the end. Rulers ("---- files ----") are
   no text; what follows one in its comment is.
"""
import pathlib
import re
import sys
import textwrap

LITERAL_OR_COMMENT = re.compile(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'|(//.*|/\*.*?\*/\s*$)')
LABEL = re.compile(r"(public|protected|private):$")
OPENS_SCOPE = re.compile(r'^(?:typedef )?(?:(class|struct|union|enum|namespace)\b|extern "")')
CLASS_NAME = re.compile(r"(?:class|struct)\s+(?:Z_API\s+)?(\w+)")
MACRO_USE = re.compile(r"^[A-Z][A-Z0-9_]*(\(.*\))?$")
NO_DECLARATION = re.compile(r"^(?:using [\w:]+::.*|friend .*|(?:class|struct|enum) \w+);$")
RULER = re.compile(r"^-{4} (.*) -{4}$")
GROUPS = {"tis": "strings"}  # the text services stand below the strings of the library


def code_of(line):
    """The line without its comment, and the comment. Literals become empty ones."""
    for match in LITERAL_OR_COMMENT.finditer(line):
        if match[1]:
            return code_of(line[:match.start()])[0], match[1]
    return LITERAL_OR_COMMENT.sub(lambda literal: literal[0][0] * 2, line).strip(), ""


def texts_of(comment):
    """The lines of a comment without its marks. What is indented in it stays so."""
    texts = [re.sub(r"^(// ?|/\*+ ?)|\s*\*/$", "", line.rstrip()) for line in comment]
    if comment[0].startswith("/*"):
        texts[1:] = textwrap.dedent("\n".join(texts[1:])).split("\n") if texts[1:] else []
    return texts


def escaped(prose):
    """Prose in which nothing is a mark to Doxygen, but for names in `backticks`. It takes what stands
    in quotes as it is."""
    parts = re.split(r'(`[^`]*`|"[^"]*")', prose)
    parts[::2] = (re.sub(r"([\\@<>#%&])", r"\\\1", part) for part in parts[::2])
    return "".join(parts)


def marked_up(texts):
    """The lines of a comment. What is indented and belongs to no list is shown as it stands."""
    shown, in_list, end = [], False, ""
    for text in [*texts, ""]:
        item = re.match(r"\s*(-|\d+\.) ", text)
        in_list = bool(item) or in_list and text.startswith("  ")
        indented = text.startswith("  ") and not in_list
        if indented and not end:
            is_table = "  " in text.strip() or not text.startswith("    ")
            mark = "verbatim" if is_table else "code"
            shown[-1] += f" @{mark}"
            end = f" @end{mark}"
        elif end and not indented:
            shown[-1] += end
            end = ""
        shown.append(text if indented else escaped(text))
    return shown[:-1]


class Header:
    def __init__(self, name, lines):
        self.name, self.lines, self.out = name, lines, list(lines)
        self.scopes = []  # (kind, name, access around it), innermost last
        self.access = "public"
        self.texts = []  # of the comment that still counts
        self.comment = None  # its lines, while nothing is documented by it
        self.own_macros = re.findall(r"^#undef (\w+)", "\n".join(lines), re.MULTILINE)
        self.group = None

    # ---- from the header to its parts ----

    def filtered(self):
        at = self.banner()
        while at < len(self.lines):
            line = self.lines[at].strip()
            last = at
            if not line:
                self.forget()
            elif line.startswith("#"):
                while self.lines[last].endswith("\\"):
                    last += 1
                self.directive(at, last, line)
            elif line.startswith(("//", "/*")):
                last = self.end_of_comment(at)
                self.forget()
                self.read_comment(at, last)
            elif LABEL.match(line):
                self.forget()
                self.access = line[:-1]
            elif line.startswith("}"):
                self.forget()
                self.access = self.scopes.pop()[2]
            else:
                last = self.end_of_declaration(at)
                self.declaration(at, last)
            at = last + 1
        return self.out

    def end_of_comment(self, at):
        if self.lines[at].strip().startswith("//"):
            while self.lines[at + 1].strip().startswith("//"):
                at += 1
        else:
            while "*/" not in self.lines[at]:
                at += 1
        return at

    def end_of_declaration(self, at):
        """Of the declaration with its body, or of the head of what opens a scope."""
        in_enum = self.scopes and self.scopes[-1][0] == "enum"
        code = ""
        while True:
            code += code_of(self.lines[at])[0] + " "
            depth = sum(code.count(c) for c in "({") - sum(code.count(c) for c in ")}")
            end = code.strip()[-1]
            if depth == 0 and (end in ";}" or in_enum or MACRO_USE.match(code.strip())):
                return at
            if depth == 1 and end == "{" and "(" not in code and OPENS_SCOPE.match(code):
                kind = OPENS_SCOPE.match(code)[1]
                name = CLASS_NAME.search(code)
                self.opened = (kind, name and name[1], self.access)
                return at
            at += 1

    # ---- the parts ----

    def banner(self):
        """The first two lines and the comment that goes on behind them."""
        purpose = texts_of(self.lines[:1])[0].split(": ", 1)[1]
        subsystem = texts_of(self.lines[1:2])[0]
        at = 1 if self.end_of_comment(0) == 0 else 0
        last = self.end_of_comment(at)
        if self.lines[last + 1].startswith("/*"):
            self.lines[last] = self.out[last] = ""  # two C comments are one
            last = self.end_of_comment(last + 1)
        group = re.match(r"Subsystem: (\w+)", subsystem)[1]
        self.group = GROUPS.get(group, group)
        texts = marked_up(texts_of(self.lines[1:last + 1])[1:])
        self.out[0] = f"/** @file {self.name}"
        self.out[1] = f"@brief {escaped(purpose)} @details {escaped(subsystem)}"
        self.out[2:last + 1] = texts
        self.out[last] += " */"
        first_blank = self.lines.index("", last)
        last_blank = len(self.lines) - 1 - self.lines[::-1].index("")
        self.out[first_blank] = f"/** @subsystem{{{self.group}}} */"
        self.out[last_blank] = "/** @} */"
        return last + 1

    def read_comment(self, at, last):
        self.texts = texts_of(textwrap.dedent("\n".join(self.lines[at:last + 1])).split("\n"))
        self.comment = (at, last)
        ruler = RULER.match(self.texts[0])
        if ruler:
            self.texts[0] = f"**{ruler[1]}**: "
        if ruler and at == last:
            self.texts = []
        elif last + 1 < len(self.lines) and not self.lines[last + 1].strip():
            in_file = all(kind in (None, "namespace") for kind, _, _ in self.scopes)
            if in_file and not self.out[at - 1]:
                self.show_comment()
                self.out[at - 1] = f"/** @file {self.name}"
                self.out[at] = self.out[at].replace("/**", "", 1)
            self.texts = []

    def show_comment(self):
        """Turns the comment into documentation where it stands."""
        at, last = self.comment
        self.comment = None
        self.out[at:last + 1] = marked_up(self.texts)
        self.out[at] = "/** " + self.out[at]
        self.out[last] += " */"

    def forget(self):
        self.texts = []

    def directive(self, at, last, line):
        name = re.match(r"#(?:define|undef) (\w+)(\()?", line)
        if name and (name[1] in self.own_macros or name[2]):
            self.leave_out(at, last)
        elif name and self.texts:
            self.show_comment()
        self.forget()

    def declaration(self, at, last):
        opened, self.opened = self.opened, None
        code = " ".join(code_of(line)[0] for line in self.lines[at:last + 1])
        behind = code_of(self.lines[last])[1]
        if self.access == "private":
            self.forget()
        elif NO_DECLARATION.match(code):
            self.leave_out(at, last)  # and the comment above counts for what follows
        else:
            self.document(at, last, code, texts_of([behind])[0])
        if opened:
            self.scopes.append(opened)
            if self.access != "private":
                self.access = "private" if opened[0] == "class" else "public"
            self.forget()

    def document(self, at, last, code, behind):
        kind = self.kind_of(code)
        if self.comment and self.texts:
            self.show_comment()
            self.first_kind = kind
            if behind:
                self.insert(at, marked_up([behind]))
        elif behind:
            self.insert(at, marked_up([behind]))
        elif self.texts and self.is_of_the_run(kind):
            self.insert(at, marked_up(self.texts))
        elif kind == "destructor" or self.access == "protected" and code.endswith("= default;"):
            self.leave_out(at, last)
        elif kind in self.COPIES:
            self.insert(at, [self.COPIES[kind]])

    COPIES = {"copy": "A copy of `other`.", "assignment": "Becomes a copy of `other`.",
              "no copy": "Cannot be copied.", "no assignment": "Cannot be assigned."}

    def kind_of(self, code):
        """Of a declaration: what rules 3 and 4 tell apart."""
        own_class = next((name for _, name, _ in self.scopes[::-1] if name), "")
        deleted = "no " if code.endswith("= delete;") else ""
        if re.search(rf"operator=\({own_class} const&", code):
            return deleted + "assignment"
        if re.match(rf"{own_class}\({own_class} const&", code):
            return deleted + "copy"
        if re.match(rf"(explicit )?{own_class}\(", code):
            return "constructor"
        if "~" in code.split("(")[0]:
            return "destructor"
        if MACRO_USE.match(code):
            return "macro"
        return "override" if re.search(r"\boverride\b", code) else "other"

    def is_of_the_run(self, kind):
        if kind in ("destructor", "macro") or kind.startswith("no "):
            return False
        if self.first_kind in ("constructor", "copy"):
            return kind in ("constructor", "copy", "assignment")
        return kind != "override" or self.first_kind == "override"

    def insert(self, at, texts):
        """Puts a text before a declaration, on its line."""
        indent = len(self.lines[at]) - len(self.lines[at].lstrip())
        text = " ".join(text or "<p>" for text in texts)
        self.out[at] = f"{self.lines[at][:indent]}/** {text.strip()} */ {self.lines[at][indent:]}"

    def leave_out(self, at, last):
        self.out[at:last + 1] = [""] * (last + 1 - at)

    opened = first_kind = None


def main():
    path = pathlib.Path(sys.argv[1])
    print("\n".join(Header(path.name, path.read_text().splitlines()).filtered()))


if __name__ == "__main__":
    main()
