"""Every stanza file of the machine, loaded and stored: corpus.py PROGRAM FOLDER...

Takes every readable regular file that is text and whose first line that is neither blank nor a
comment opens a stanza. The program (corpus.cpp) loads it and stores it elsewhere. What it writes,
or the line that it refuses, has to be what the rules of the format give; they are written down
here a second time, as plainly as possible. A second round over the result has to give what the
rules give for that: the same bytes, but for lines that grew beyond what is read at once.
"""
import collections
import os
import pathlib
import select
import shutil
import stat
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
# File systems whose files the kernel makes up as they are read, wherever they are mounted.
MADE_UP = {line.split()[1] for line in open("/proc/self/mounts")
           if line.split()[2] in {"proc", "sysfs", "devtmpfs", "devpts", "cgroup", "cgroup2",
                                  "debugfs", "tracefs", "securityfs"}}
PRUNED = {"/proc", "/sys", "/dev", str(ROOT / "build")} | MADE_UP
LONGEST = 8191  # bytes of a line that are read at once, its end included
BLANK = b" \t\n\v\f\r"
SECONDS = 60  # for one file


def lines_of(data):
    start = 0
    while start < len(data):
        end = data.find(b"\n", start, start + LONGEST)
        end = end + 1 if end >= 0 else min(start + LONGEST, len(data))
        yield data[start:end].strip(BLANK)
        start = end


def rules(data):
    """(text, None), or (None, (line number, line, reason)) for what is refused."""
    records, stanzas, current = [], {}, None
    for number, line in enumerate(lines_of(data), 1):
        reason = None
        if not line or line.startswith(b"#"):
            records.append((line + b"\n", None))
        elif line.startswith(b"["):
            name, bracket, _ = line[1:].partition(b"]")
            if not bracket:
                reason = "stanza without ]"
            elif name in stanzas:
                reason = "stanza repeated"
            else:
                current = stanzas[name] = {}
                records.append((b"[" + name + b"]\n", None))
        else:
            key, equals, value = line.partition(b"=")
            key = key.rstrip(BLANK)
            if not equals:
                reason = "neither comment, stanza nor key = value"
            elif line.startswith(b"="):
                reason = "no key before ="
            elif current is None:
                reason = "key before any stanza"
            else:
                if key not in current:
                    records.append((key, current.setdefault(key, [])))
                if value.strip(BLANK):
                    current[key].append(value.lstrip(BLANK))
        if reason:
            return None, (number, line, reason)
    out = []
    for text, values in records:
        if values is None:
            out.append(text)
        else:
            out += [text + b" = " + value + b"\n" for value in values] or [text + b" =\n"]
    return b"".join(out), None


def opens_a_stanza(head):
    """Whether the first line that counts does; None when there is none."""
    for line in head.split(b"\n"):
        line = line.strip(BLANK)
        if line and not line.startswith(b"#"):
            return line.startswith(b"[")
    return None


def is_ours(path):
    with open(path, "rb") as file:
        head = file.read(4096)
        if b"\0" in head or opens_a_stanza(head) is False:
            return False
        data = head + file.read()
    # A file that names a database would have that one written as well: hands off.
    return b"\0" not in data and b"[configuration-database]" not in data and opens_a_stanza(data) is True


def walk(folders, scratch):
    for folder in folders:
        for at, inner, names in os.walk(os.fsencode(folder)):
            inner[:] = sorted(d for d in inner
                              if os.fsdecode(os.path.join(at, d)) not in PRUNED | {scratch})
            for path in (os.path.join(at, name) for name in sorted(names)):
                try:
                    if stat.S_ISREG(os.lstat(path).st_mode) and os.access(path, os.R_OK) and is_ours(path):
                        yield path
                except OSError:
                    pass  # gone meanwhile, or the disk cannot read it either


class Program:
    def __init__(self, path):
        self.path, self.process = path, None

    def ask(self, source, target):
        if self.process is None:
            self.process = subprocess.Popen([self.path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self.process.stdin.write(source + b"\0" + os.fsencode(target) + b"\0")
        answer = b""
        while not answer.endswith(b"\n"):
            ready, _, _ = select.select([self.process.stdout], [], [], SECONDS)
            more = os.read(self.process.stdout.fileno(), 65536) if ready else b""
            if not more:
                self.process.kill()
                status, self.process = self.process.wait(), None
                return b"crashed, status %d" % status if ready else b"hung"
            answer += more
        return answer[:-1]


def compare(program, source, data, target):
    """Runs one file through; the fault, or None, and what the rules say."""
    text, refusal = rules(data)
    expected = b"stored" if refusal is None else b"refused %d %s" % refusal[:2]
    answer = program.ask(source, target)
    if answer != expected:
        return f"the rules say {expected!r}, the library {answer!r}", text, refusal
    if refusal is None and pathlib.Path(target).read_bytes() != text:
        return "stored other bytes than the rules give", text, refusal
    return None, text, refusal


def check(program, path, scratch):
    """The fault, or None, and the reason for a refusal, or None."""
    once, twice = scratch + "/once", scratch + "/twice"
    for _ in range(3):
        data = pathlib.Path(os.fsdecode(path)).read_bytes()
        fault, text, refusal = compare(program, path, data, once)
        if fault is None or pathlib.Path(os.fsdecode(path)).read_bytes() == data:
            break  # else somebody changed it under our hands
    if fault is None and refusal is None:
        fault, again, _ = compare(program, os.fsencode(once), text, twice)
        if fault is None and again != text and all(len(line) < LONGEST for line in text.split(b"\n")):
            fault = "the second round changed it"
        if fault is not None:
            fault = "second round: " + fault
    return fault, refusal and refusal[2]


def main():
    scratch = tempfile.mkdtemp(prefix="corpus.")
    program, results, faults = Program(sys.argv[1]), collections.Counter(), 0
    try:
        for path in walk(sys.argv[2:], scratch):
            fault, reason = check(program, path, scratch)
            results[reason and "refused: " + reason or "loaded and stored"] += 1
            if fault is not None:
                faults += 1
                print(f"{os.fsdecode(path)}: {fault}")
    finally:
        shutil.rmtree(scratch)
    for reason, count in results.most_common():
        print(f"{count:6} {reason}")
    print(f"{sum(results.values())} files, {faults} of them not as the rules say")
    return 1 if faults or not results else 0


sys.exit(main())
