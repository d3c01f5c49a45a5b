"""Makes one table of benchmark results: bench_report.py RESULT.json...

A benchmark is named <family>/<work>/<who>/<size>; <who> is Z or a peer. A row holds one work at
one size: the median time of Z, that of each peer, and Z's share of it (below 1 Z is faster).
Counters that a benchmark reports (such as bytes per key) follow in a table of their own.
"""
import collections
import datetime
import json
import pathlib
import platform
import re
import subprocess
import sys

PACKAGES = ["libglib2.0-dev", "libinih-dev", "libsimpleini-dev", "libboost-dev", "libfmt-dev",
            "qtbase5-dev", "libicu-dev",
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
            f"Linux {platform.release()}, {output_of('g++', '--version').splitlines()[0]}.\n"
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
    return ({key: times[key] for key in sorted(times, key=natural)},
            {key: counters[key] for key in sorted(counters, key=natural)})


def natural(key):
    """Numbers within words by their value."""
    return [[(int(part), "") if part.isdigit() else (-1, part)
             for part in re.split(r"(\d+)", word)] for word in key]


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


def main():
    times, counters = read(sys.argv[1:])
    if not times:
        sys.exit("no benchmark matches")
    print(f"# Benchmarks\n\nWritten by `script/bench`. {machine()}\n"
          "Medians of the repetitions; Z/peer below 1 means that Z is faster or smaller.")
    for family in dict.fromkeys(key[0] for key in times):
        print(f"\n## {family}\n")
        print("\n".join(table({k: v for k, v in times.items() if k[0] == family}, shown)))
        rest = {k: v for k, v in counters.items() if k[0] == family}
        if rest:
            print("\n" + "\n".join(table(rest, lambda value: f"{value:.4g}")))


main()
