"""Compares the manual pages in docs/man with headers, the list of exported names and the command.

Every exported C function and every function of tis.h has a page; what a SYNOPSIS declares stands so
in the header that it names; codes in pages are those of the headers; zstanza.1 has the verbs and
options of `zstanza --help` and `zstanza VERB --help`, and no others, and so has completion; --json is
what docs/zstanza.schema.json says. mandoc finds nothing. Usage: man_test.py ZSTANZA
"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import jsonschema

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGES = sorted((ROOT / "docs/man").glob("*.[135]"))
SECTIONS = {"1": ["NAME", "SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "SEE ALSO"],
            "3": ["NAME", "LIBRARY", "SYNOPSIS", "DESCRIPTION", "RETURN VALUES", "THREADS", "SEE ALSO"],
            "5": ["NAME", "DESCRIPTION", "SEE ALSO"]}
CODE = re.compile(r"\.It Dv (\w+) Pq (\d+)")
# Enumerators of the headers whose numbers pages tell.
ENUMERATOR = re.compile(r"\b(ZPROP_[A-Z_]+) = (\d+)")
# What stands before Tab is hit in bash, and what that offers.
COMPLETIONS = {"get f tls:w": {"www"}, "get f 'tls": {"tls:www"}, "get --wait 1 f tls\\:www k": {"key"},
               "get $(echo f) ": set()}
# For each kind of result what prints three lines.
RESULTS = {
    "stanzas": "j list f; j list g; j list - <f",
    "keys": "j list f server; j list f session; j list f logging",
    "value": "j get f server pw; j get f server umask --int; j get f logging forward --bool",
    "values": "j get f server pw --all; j get f server umask --all --int; j get f session banner --all",
    "checked": "echo [ >bad; j check f bad gone; echo x >f.obf; j check f; rm f.obf; j check f",
    "changed": """j watch f --count 3 & while kill -0 $!; do
        zstanza set f a k v --obfuscated; sleep .1; zstanza unset f a k; sleep .1; done"""}
faults = []


def fault(page, text):
    faults.append(f"docs/man/{page.name}: {text}")


def sections(page):
    parts = re.split(r"^\.Sh (.*)\n", page.read_text(), flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def normalised(text):
    """C in one spelling: `char const *` as `const char *`, single blanks, none around * and ,"""
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", text, flags=re.S)
    text = re.sub(r"\b(unsigned char|unsigned short|(?!Z_API|TIS_API)\w+) const\b", r"const \1", text)
    text = re.sub(r"\s*([*(),])\s*", r"\1", text)
    return re.sub(r"\s+", " ", text).strip()


def declared(header):
    """name -> prototype of every C function of a header."""
    text = normalised(re.sub(r"\n *#.*", "", (ROOT / "src" / header).read_text()))
    found = {}
    for result, name, parameters in re.findall(
            r"\b(?:Z_API|TIS_API) ([\w *]+?[ *])(\w+)\(([^()]*)\);", text):
        if re.match(r"z|tis_", name):
            found[name] = f"{result.strip()} {name}({parameters})".replace("* ", "*")
    return found


def synopsis(page, text):
    """Yields header, name and prototype of each function."""
    header = result = None
    function = []
    for line in text.splitlines():
        macro, *arguments = [quoted or bare for quoted, bare in re.findall(r'"([^"]*)"|(\S+)', line)]
        if macro == ".In":
            header = arguments[0]
        elif macro == ".Ft":
            result = " ".join(arguments)
        elif macro in (".Fo", ".Fn"):
            function = arguments
        elif macro == ".Fa":
            function += arguments
        elif macro != ".Fc":
            fault(page, f"{macro} in the SYNOPSIS")
        if macro in (".Fn", ".Fc"):
            name, *parameters = function
            text = normalised(f"{result} {name}({','.join(parameters)})")
            yield header, name, text.replace("* ", "*")


def check_functions():
    wanted = {name for name in (ROOT / "tests/data/exports.txt").read_text().split()
              if re.match(r"z[a-z]", name)}
    wanted |= declared("tis/tis.h").keys()
    documented = {}
    for page in PAGES:
        if page.suffix != ".3":
            continue
        parts = sections(page)
        names = re.findall(r"^\.Nm (\S+)", parts.get("NAME", ""), re.M)
        shown = []
        for header, name, prototype in synopsis(page, parts.get("SYNOPSIS", "")):
            shown.append(name)
            inside = declared(header) if (ROOT / "src" / header).is_file() else {}
            if name not in inside:
                fault(page, f"{header} does not declare {name}")
            elif inside[name] != prototype:
                fault(page, f"{header} declares {inside[name]}, not {prototype}")
            if name in documented:
                fault(page, f"{name} stands in {documented[name]} too")
            documented[name] = page.name
        if sorted(names) != sorted(shown):
            fault(page, f"NAME and SYNOPSIS differ in {', '.join(set(names) ^ set(shown))}")
    faults.extend(f"no page for {name}" for name in sorted(wanted - documented.keys()))
    faults.extend(f"docs/man/{documented[name]}: {name} is not exported"
                  for name in sorted(documented.keys() - wanted))
    return documented


def check_codes():
    text = (ROOT / "src/Z/zproperties_c.h").read_text()
    codes = dict(ENUMERATOR.findall(text))
    table = re.search(r"enum ZPROPReturnCode \{(.*?)\};", text, re.S)[1]
    seen = {}
    for page in PAGES:
        for name, number in CODE.findall(page.read_text()):
            seen.setdefault(name, set()).add(page.name)
            if codes.get(name) != number:
                fault(page, f"{name} is {codes.get(name)}, not {number}")
    faults.extend(f"docs/man/zstzPropOpen.3: {name} is missing" for name, _ in ENUMERATOR.findall(table)
                  if "zstzPropOpen.3" not in seen.get(name, ()))
    requests = re.search(r"enum ZPROPRequestType \{(.*?)\};", text, re.S)[1]
    faults.extend(f"docs/man/zstzPropGetValues.3: {name} is missing"
                  for name, _ in ENUMERATOR.findall(requests) if name not in seen)


def check_references(documented):
    names = {f"{name} 3" for name in documented}
    names |= {f"{page.stem} {page.suffix[1:]}" for page in PAGES if page.suffix != ".3"}
    for page in PAGES:
        for name, section in re.findall(r"\bXr (\S+) (\d)", page.read_text()):
            if re.match(r"z|tis_", name) and f"{name} {section}" not in names:
                fault(page, f"there is no {name}({section})")
        parts = sections(page)
        for heading in SECTIONS[page.suffix[1:]]:
            if not parts.get(heading, "").strip():
                fault(page, f"no section {heading}")


def check_command(zstanza):
    page = ROOT / "docs/man/zstanza.1"
    parts = sections(page)

    def asked(*arguments):
        return subprocess.check_output([zstanza, *arguments, "--help"], text=True)

    def plain(text):
        return {f"-{name}" for name in re.findall(r"\bFl (\S+)", text)}  # mdoc's options as they are typed

    help_text = asked()
    verbs = set(re.findall(r"^  (\w+) ", help_text.split("Verbs:")[1], re.M))
    # The operands and options of each form.
    forms = {}
    for form in re.split(r"^\.Nm\n\.Cm ", parts["SYNOPSIS"], flags=re.M)[1:]:
        forms[form.split()[0]] = form
    described = set(re.findall(r"^\.It Cm (\w+)$", parts["DESCRIPTION"], re.M))
    if not verbs == forms.keys() == described:
        fault(page, f"verbs: {sorted(verbs)} by the command, {sorted(forms)} in the SYNOPSIS, "
                    f"{sorted(described)} in the DESCRIPTION")
    common = {"-h", "--help", "--version", "--wait"}
    existing = set(common)
    for verb in verbs & forms.keys():
        text = asked(verb)
        usage = re.search(rf"Usage: zstanza {verb} \[OPTIONS\] (.*)", text)[1]
        listed = re.findall(r"^  (-\S+)", text.split("Options:")[1], re.M)
        offered = {option for item in listed for option in item.split(",")}
        existing |= offered
        COMPLETIONS[f"{verb} -"] = offered - {"-h"}
        # -0 stands for --null there.
        if offered - common - {"--null"} != plain(forms[verb]):
            fault(page, f"{verb}: {sorted(offered - common)} by --help, {sorted(plain(forms[verb]))} in the SYNOPSIS")
        operands = re.findall(r"[A-Z]{3,}", usage)
        shown = re.findall(r"[A-Z]{3,}", re.sub(r"\bFl \S+ Ar \S+", "", forms[verb]))
        if operands != shown:
            fault(page, f"{verb}: operands {operands} by --help, {shown} in the SYNOPSIS")
    explained = plain("\n".join(re.findall(r"^\.It (Fl .*)$", parts["OPTIONS"], re.M)))
    if explained != existing:
        fault(page, f"options that only one of page and command has: {sorted(explained ^ existing)}")

    codes = re.findall(r"^    \w+ = (\d),", (ROOT / "src/zstanza/Failure.h").read_text(), re.M)
    shown = re.findall(r"^\.It (\d)$", parts["EXIT STATUS"], re.M)
    told = re.findall(r"\d", help_text.split("Exit codes: ")[1])
    if not codes == shown == told:
        fault(page, f"exit codes {shown}, Failure.h has {codes}, --help {told}")


def shell(zstanza, command, line=""):
    """What bash prints in a folder where f is the example."""
    with tempfile.TemporaryDirectory() as here:
        command = f"""PATH={pathlib.Path(zstanza).resolve().parent}:$PATH; cp {ROOT}/examples/server.conf f
                      . {ROOT}/src/zstanza/completion/zstanza.bash; j() {{ zstanza "$@" --json; }}; {command}"""
        return subprocess.run(["bash", "-c", command, "", f"zstanza {line}"], cwd=here, text=True, check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def check_results(zstanza):
    for line, offered in COMPLETIONS.items():
        seen = shell(zstanza, 'COMP_LINE=$1 COMP_POINT=${#1}; _zstanza; echo "${COMPREPLY[@]}"', line)
        if set(seen.split()) != offered:
            faults.append(f"completion of zstanza {line}: {seen}")
    schema = json.loads((ROOT / "docs/zstanza.schema.json").read_text())
    validator = jsonschema.Draft202012Validator
    for kind, commands in RESULTS.items():
        valid = validator({**schema, "anyOf": [{"$ref": f"#/$defs/{kind}"}]})
        printed = shell(zstanza, "zstanza set f server pw x --obfuscated; cp f g; " + commands).splitlines()
        if len(printed) != 3 or not all(valid.is_valid(json.loads(line)) for line in printed) or \
                any(validator(schema).is_valid(json.loads(line.replace('"file"', '"File"'))) for line in printed):
            faults.append(f"docs/zstanza.schema.json, {kind}: {printed}")


def main():
    documented = check_functions()
    check_codes()
    check_references(documented)
    check_command(sys.argv[1])
    check_results(sys.argv[1])
    lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", *PAGES], text=True, capture_output=True)
    faults.extend(line for line in lint.stdout.splitlines() if line)
    print("\n".join(faults) or f"{len(PAGES)} pages, {len(documented)} functions")
    return 1 if faults or not documented else 0


sys.exit(main())
