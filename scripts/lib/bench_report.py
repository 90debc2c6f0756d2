# SPDX-License-Identifier: MIT
"""Turns the JSON of bench_engine_callbacks into a table of times and of ratios to one parse of the same text."""
import json
import sys


def medians(path):
    """{(benchmark, files): (milliseconds, files)} from the medians, or from the only repetition."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    if any(run.get("aggregate_name") == "median" for run in runs):
        runs = [run for run in runs if run.get("aggregate_name") == "median"]
    times = {}
    for run in runs:
        name, files = run["run_name"].split("/")[:2]
        times[name, int(files)] = run["real_time"]
    return times


def main():
    times = medians(sys.argv[1])
    row = "{:<18} {:>8} {:>11} {:>14} {:>22}"
    print(row.format("operation", "files", "ms", "us per file", "times one JSON parse"))
    for (name, files), ms in sorted(times.items()):
        base = times.get(("jsonParse", files))
        ratio = f"{ms / base:.2f}" if base and name in ("groupParse", "groupCallback") else "-"
        print(row.format(name, files, f"{ms:.3f}", f"{1000 * ms / files:.3f}", ratio))


if __name__ == "__main__":
    main()
