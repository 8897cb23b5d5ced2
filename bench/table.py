#!/usr/bin/env python3
"""Prints Lumora against OpenCV as one table.

    bench/table.py [--bench build/bin/lumora_bench] [--threads 1,2] [--filter REGEX]
                   [--min-time 0.2] [--repetitions N] [--cpu-time] [--json FILE ...] [--markdown]

Runs lumora_bench once per thread count (LUMORA_NUM_THREADS; OpenCV gets the
same count), so that Lumora and OpenCV are timed in the same run, and prints
per pair: operation, layout, Lumora and OpenCV times (real time, the median
of --repetitions runs), Lumora / OpenCV, Lumora / memcpy of the same bytes,
and the thread count. --cpu-time takes the calling thread's CPU time instead,
steadier on a loaded machine but meaningful only for one thread. --json prints tables from saved `--benchmark_format=json`
outputs instead of running anything. Without OpenCV in the build the OpenCV
columns stay empty.
"""

import argparse
import json
import os
import re
import subprocess
import sys

UNIT = {"ns": 1e-3, "us": 1.0, "ms": 1e3, "s": 1e6}


def split_name(name):
    """'BM_Erode_Lumora/rgb:1/r:7' -> ('Erode r=7', 'rgb', 'Lumora')."""
    m = re.match(r"BM_(.+)_(Lumora|OpenCV|memcpy)/(.+)$", name)
    if not m:
        return None
    op, side, case = m.groups()
    parts = case.split("/")
    extra = []
    if parts[0] in ("rgb:0", "rgb:1"):
        layout = "rgb" if parts[0] == "rgb:1" else "grey"
        extra = [p.replace(":", "=") for p in parts[1:]]
    else:
        tokens = parts[0].split("_")
        layout, extra = tokens[0], tokens[1:] + parts[1:]
    return " ".join([op] + extra), layout, side


def load(runs, clock):
    """Median real time in microseconds per (op, layout, side), and the thread count."""
    times, threads = {}, runs.get("context", {}).get("lumora_threads", "1")
    for b in runs["benchmarks"]:
        if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
            continue
        if b.get("error_occurred"):
            continue
        name = b.get("run_name", b["name"])
        key = split_name(name)
        if key is None:
            continue
        value = b[clock] * UNIT[b.get("time_unit", "ns")]
        # A median aggregate replaces the single runs it summarises.
        if b.get("run_type") == "aggregate" or key not in times:
            times[key] = value
    return times, threads


def rows_of(times, threads):
    rows = []
    for (op, layout, side), lumora in sorted(times.items()):
        if side != "Lumora":
            continue
        opencv = times.get((op, layout, "OpenCV"))
        floor = times.get((op, layout, "memcpy"))
        if floor is None:
            floor = times.get(("Point", layout, "memcpy"))
        rows.append([op, layout, f"{lumora:.0f}", "" if opencv is None else f"{opencv:.0f}",
                     "" if opencv is None else f"{lumora / opencv:.2f}",
                     "" if floor is None else f"{lumora / floor:.1f}", threads])
    return rows


def print_table(rows, markdown):
    head = ["operation", "layout", "Lumora us", "OpenCV us", "Lumora/OpenCV", "Lumora/memcpy", "threads"]
    if markdown:
        print("| " + " | ".join(head) + " |")
        print("|" + "---|" * len(head))
        for r in rows:
            print("| " + " | ".join(r) + " |")
        return
    widths = [max(len(str(x)) for x in col) for col in zip(head, *rows)]
    for r in [head] + rows:
        print("  ".join(str(x).ljust(w) if i < 2 else str(x).rjust(w) for i, (x, w) in enumerate(zip(r, widths))))


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bench", default=os.path.join(here, "..", "build", "bin", "lumora_bench"))
    parser.add_argument("--threads", default="1,2", help="comma-separated Lumora/OpenCV thread counts")
    parser.add_argument("--filter", default="", help="--benchmark_filter for lumora_bench")
    parser.add_argument("--min-time", default="0.2", help="seconds per benchmark run")
    parser.add_argument("--repetitions", type=int, default=1)
    parser.add_argument("--cpu-time", action="store_true", help="CPU time of the calling thread, not real time")
    parser.add_argument("--json", nargs="*", help="saved lumora_bench JSON outputs to tabulate")
    parser.add_argument("--markdown", action="store_true")
    args = parser.parse_args()

    outputs = []
    if args.json:
        for path in args.json:
            with open(path) as f:
                outputs.append(json.load(f))
    else:
        for count in args.threads.split(","):
            command = [args.bench, "--benchmark_format=json", f"--benchmark_min_time={args.min_time}"]
            if args.repetitions > 1:
                command.append(f"--benchmark_repetitions={args.repetitions}")
            if args.filter:
                command.append(f"--benchmark_filter={args.filter}")
            env = dict(os.environ, LUMORA_NUM_THREADS=count.strip())
            result = subprocess.run(command, env=env, stdout=subprocess.PIPE, check=True)
            outputs.append(json.loads(result.stdout))
    for runs in outputs:
        print_table(rows_of(*load(runs, "cpu_time" if args.cpu_time else "real_time")), args.markdown)
        print()
    return 0


if __name__ == "__main__":
    sys.exit(main())
