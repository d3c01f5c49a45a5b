"""Makes one page of benchmark results: bench_report.py [--charts FOLDER] RESULT.json...

A benchmark is named <family>/<work>/<who>/<size>; <who> is Z or a peer. A row holds one work at
one size: the median time of Z, that of each peer, and Z's share of it (below 1 Z is faster).
Counters that a benchmark reports (such as bytes per key) follow in a table of their own. The page
begins with the targets of bench/targets.txt. With a folder, families whose works were measured at
several sizes get a chart there, which the page shows.
"""
import argparse
import collections
import datetime
import json
import pathlib
import platform
import re
import subprocess
import sys

import bench_chart

TARGETS = pathlib.Path(__file__).resolve().parent.parent / "bench" / "targets.txt"
NOISE = 1.25  # times of short loops differ by as much from one run to the next
COUNTED = re.compile(r": (bytes|page_faults|resident|relocations)")  # what has no such noise
PACKAGES = ["libglib2.0-dev", "libinih-dev", "libsimpleini-dev", "libboost-dev", "libfmt-dev",
            "qtbase5-dev", "libicu-dev", "libc6-dev", "zlib1g-dev",
            "libbenchmark-dev", "libpoco-dev", "openjdk-17-jdk-headless"]
KNOWN = {"name", "run_name", "run_type", "family_index", "per_family_instance_index", "repetitions",
         "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit",
         "aggregate_name", "aggregate_unit", "label", "error_occurred", "error_message"}
UNITS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}


def output_of(*command):
    return subprocess.run(command, text=True, capture_output=True).stdout.strip()


def machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    versions = output_of("dpkg-query", "-W", "-f", "${Package} ${Version}, ", *PACKAGES).rstrip(", ")
    return (f"{datetime.date.today()}, {model[1] if model else platform.machine()}, "
            f"Linux {platform.release().split('-')[0]}, {output_of('g++', '--version').splitlines()[0]}.\n"
            f"Peers and tools: {versions}.")


def shown(nanoseconds):
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= scale:
            return f"{nanoseconds / scale:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def read(files):
    """({(family, work, size): {who: nanoseconds}}, the same for each counter)."""
    times = collections.defaultdict(dict)
    counters = collections.defaultdict(dict)
    for file in files:
        text = pathlib.Path(file).read_text()
        for run in json.loads(text)["benchmarks"] if text.strip() else []:  # empty: none matched
            name = run["run_name"]
            if run.get("error_occurred"):
                sys.exit(f"{name}: {run['error_message']}")
            if run["run_type"] == "aggregate" and run["aggregate_name"] != "median":
                continue
            family, work, who, size = (name.split("/") + ["", "", ""])[:4]
            times[family, work, size][who] = run["real_time"] * UNITS[run["time_unit"]]
            for counter in run.keys() - KNOWN:
                counters[family, f"{work}: {counter}", size][who] = run[counter]
    # The runs are interleaved at random: the rows are not, so that two reports can be compared.
    def order(key):
        return natural(key[0]), natural(key[1]), bench_chart.amount(key[2]) or 0, natural(key[2])

    return ({key: times[key] for key in sorted(times, key=order)},
            {key: counters[key] for key in sorted(counters, key=order)})


def natural(word):
    """Numbers within words by their value."""
    return [(int(part), "") if part.isdigit() else (-1, part)
            for part in re.split(r"(\d+)", word)]


def table(rows, show):
    peers = list(dict.fromkeys(who for row in rows.values() for who in row if who != "Z"))
    yield "| work | size | Z |" + "".join(f" {p} | Z/{p} |" for p in peers)
    yield "|---|---|---|" + "---|---|" * len(peers)
    for (_, work, size), row in rows.items():
        cells = [work, size, show(row["Z"]) if "Z" in row else ""]
        for peer in peers:
            cells += [show(row[peer]) if peer in row else "",
                      f"{row['Z'] / row[peer]:.2f}" if row.get(peer) and "Z" in row else ""]
        yield "| " + " | ".join(cells) + " |"


def targets():
    """(regular expression of a row, peer, limit as written) for each line."""
    for line in TARGETS.read_text().splitlines():
        if line and not line.startswith("#"):
            yield re.split(" {2,}", line)


def measured(rows, key, peer):
    """What a target compares: None where this row has no such peer."""
    row = rows[key]
    if "Z" not in row:
        return None
    if peer == "at_least":
        return row["Z"]
    if peer == "cheapest_size":
        return row["Z"] / min(other["Z"] for k, other in rows.items()
                              if k[:2] == key[:2] and "Z" in other)
    return row["Z"] / row[peer] if row.get(peer) else None


def verdict(name, value, peer, limit):
    """How far it goes beyond the limit decides: up to NOISE two times cannot be told apart."""
    bound = float(limit.lstrip("<"))
    excess = bound / value if peer == "at_least" else value / bound
    if excess < 1 or (excess == 1 and not limit.startswith("<")):
        return "met"
    return "within noise" if excess <= NOISE and not COUNTED.search(name) else "not met"


def target_lines(rows):
    counts = collections.Counter()
    lines = []
    for pattern, peer, limit in targets():
        for key in rows:
            name = "/".join(filter(None, key))
            # A pattern for times leaves the counters alone.
            if (": " in name) != (": " in pattern) or not re.fullmatch(pattern, name):
                continue
            value = measured(rows, key, peer)
            if value is None:
                continue
            result = verdict(name, value, peer, limit)
            counts[result] += 1
            against = {"at_least": "", "cheapest_size": "its cheapest size"}.get(peer, peer)
            sign = "≥ " if peer == "at_least" else "" if limit.startswith("<") else "≤ "
            bound = sign + limit.replace("<", "< ")
            lines.append(f"| {name} | {against} | {bound} | {value:.2f} | {result} |")
    results = ("met", "within noise", "not met")
    summary = ", ".join(f"{counts[result]} {result}" for result in results)
    return [f"{summary}. Within noise: a time of up to {NOISE} times the limit.", "",
            "| row | against | limit | measured | |", "|---|---|---|---|---|"] + lines


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--charts", type=pathlib.Path)
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    times, counters = read(arguments.files)
    if not times:
        sys.exit("no benchmark matches")
    print(f"# Benchmarks\n\nWritten by `script/bench`. {machine()}\n"
          "Medians of the repetitions; Z/peer below 1 means that Z is faster or smaller.")
    print("\n## Targets\n")
    print("\n".join(target_lines({**times, **counters})))
    charts = bench_chart.write_all(arguments.charts, times, counters) if arguments.charts else {}
    for family in dict.fromkeys(key[0] for key in times):
        print(f"\n## {family}\n")
        if family in charts:
            print(f"![{family}: cost against size]({arguments.charts.name}/{charts[family]})\n")
        print("\n".join(table({k: v for k, v in times.items() if k[0] == family}, shown)))
        rest = {k: v for k, v in counters.items() if k[0] == family}
        if rest:
            print("\n" + "\n".join(table(rest, lambda value: f"{value:.4g}")))


main()
