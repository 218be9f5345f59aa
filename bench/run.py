#!/usr/bin/env python3
"""Runs the benchmarks of a build and holds their figures against the targets.

    bench/run.py build/release

Builds nothing. Every program runs several times, all of them in turn; a figure is the median of its
runs.
The exit status is 1 when a target is missed.
"""
import argparse
import json
import pathlib
import statistics
import subprocess
import sys

# What a target is held against.
RATIO = "ratio"  # our time by that of the bare program: at most
SPEEDUP = "speedup"  # the bare program's time by ours: at least
BYTES = "bytes"  # the figure itself: at most

# Name of the benchmark, what it is, kind of target, target (None: only measured), what stands
# beside it.
TARGETS = [
    ("DurableAddAp", "durable AddAP", RATIO, 1.3, "4 KiB overwrite + fdatasync"),
    ("BatchOfAps", "batch of 12,000 APs", RATIO, 1.0, "12,000 rows inserted"),
    ("BuildFullNetwork", "the full network in one batch", RATIO, 1.0, "inserts into 11 tables"),
    ("BuildBesideLmdb", "the full network in one batch", RATIO, 1.0, "LMDB, one transaction"),
    ("AllByIdBuiltFlat", "any object by id, built here", RATIO, 1.67, "flat table"),
    ("AllByIdBuiltLmdb", "any object by id, built here", RATIO, 1.0, "LMDB"),
    ("AllByIdOpenedFlat", "any object by id, opened", RATIO, 1.67, "flat table"),
    ("AllByIdOpenedLmdb", "any object by id, opened", RATIO, 1.0, "LMDB"),
    ("AllByNameBuiltFlat", "any object by name, built here", RATIO, 1.67, "flat table"),
    ("AllByNameBuiltLmdb", "any object by name, built here", RATIO, 1.0, "LMDB"),
    ("AllByNameOpenedFlat", "any object by name, opened", RATIO, 1.67, "flat table"),
    ("AllByNameOpenedLmdb", "any object by name, opened", RATIO, 1.0, "LMDB"),
    ("UsersOfDepsBuiltFlat", "users of every Dep, built here", RATIO, 2, "flat table"),
    ("UsersOfDepsBuiltLmdb", "users of every Dep, built here", RATIO, 1.0, "LMDB"),
    ("UsersOfDepsOpenedFlat", "users of every Dep, opened", RATIO, 2, "flat table"),
    ("UsersOfDepsOpenedLmdb", "users of every Dep, opened", RATIO, 1.0, "LMDB"),
    ("LookUpById", "look-up by id", SPEEDUP, 20, "prepared select"),
    ("LookUpByName", "look-up by name", SPEEDUP, 8, "prepared select"),
    ("ListFromArray", "list of 45,000 users from an array, a row", SPEEDUP, None, "select"),
    ("ListUsers", "list of 45,000 users, a row", SPEEDUP, 10, "select"),
    ("ListDeps", "list of 3,000 Deps, a row", SPEEDUP, 10, "select"),
    ("ListApsOfServers", "lists of servers' APs, a row", SPEEDUP, 10, "select"),
    ("ListUsersOfDeps", "lists of Deps' users, a row", SPEEDUP, 10, "select, join"),
    ("ListNodesOfGroups", "lists of groups' nodes, a row", SPEEDUP, 10, "select, join"),
    ("ListMembershipsOfUsers", "lists of memberships, a row", SPEEDUP, 10, "select"),
    ("OpenNetwork", "opening 61,756 objects", RATIO, 1.5, "scan of a row per element"),
    ("BuildNetworkOf/100000", "an object of 100,000, batch", RATIO, 1.5, "of 10,000"),
    ("BuildNetworkOf/1000000", "an object of 1,000,000, batch", RATIO, 1.5, "of 10,000"),
    ("CheckAnomalies", "search for loose objects", RATIO, 2.5, "in half the network"),
    ("LinkAllDeps/1000", "linking 1,000 Deps, 1,998,000 items", RATIO, 5, "500, 499,000 items"),
    ("GenerateDirectories", "directories of a region, 748 MB", RATIO, 1.3, "written from memory"),
    ("GenerateRouting", "routing files of a region", RATIO, 2, "written from memory"),
    ("GeneratePackages", "full packages of a region", RATIO, 1.5, "the files joined"),
    ("ShareStorage", "directories, storage shared", RATIO, 0.25, "not shared"),
    ("GenerateWithCallback", "directories, with callback", RATIO, 1.1, "without"),
    ("GenerateTenfold", "an AP of 10,000, directories", RATIO, 1.1, "of 1,000"),
    ("NothingChanged", "only what changed: nothing", RATIO, 0.05, "97,536 files made"),
    ("OneApAdded", "only what changed: an AP added", RATIO, 0.1, "97,536 files made"),
    ("OneApAddedAsked", "the same, asked without writing", RATIO, 0.05, "97,536 files made"),
    ("OneApAddedPackages", "a region with packages, an AP added", RATIO, 0.1, "all made"),
    ("LoadExchangeSet", "loading a full exchange set", RATIO, 0.33, "fscanf into maps"),
    ("MemoryOf/10000", "memory of 10,000, an object", BYTES, 256, ""),
    ("MemoryOf/100000", "memory of 100,000, an object", BYTES, 256, ""),
    ("MemoryOf/1000000", "memory of 1,000,000, an object", BYTES, 256, ""),
    ("ChangeRootFolder", "change of the root folder, 100,000", RATIO, 1.2, "of 10"),
    ("ChangeServerFolder", "change of a server's APs, 100,000", RATIO, 1.2, "of 10"),
    ("ChangeLinkList", "change of a server's links, 100,000", RATIO, 1.2, "of 10"),
]
COUNTERS = ("ours", "bare", "ratio", "best_ratio", "total_ratio", "opened")


def run_program(program, pattern):
    """Counters of each benchmark of a program."""
    command = [program, "--benchmark_format=json", f"--benchmark_filter={pattern}"]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if "Failed to match" in done.stderr or (done.returncode == 0 and not done.stdout.strip()):
        return {}
    if done.returncode != 0:
        sys.exit(f"{program} failed:\n{done.stderr}")
    found = {}
    for one in json.loads(done.stdout)["benchmarks"]:
        name = one["name"].split("/iterations:")[0]
        found[name] = {key: one[key] for key in COUNTERS if key in one}
    return found


def measure(programs, runs, pattern):
    """Medians over the runs, by benchmark and counter."""
    collected = {}
    for number in range(runs):
        for program in programs:
            print(f"run {number + 1} of {runs}: {program.name}", file=sys.stderr)
            for name, counters in run_program(program, pattern).items():
                for key, value in counters.items():
                    collected.setdefault(name, {}).setdefault(key, []).append(value)
    return {
        name: {key: statistics.median(values) for key, values in counters.items()}
        for name, counters in collected.items()
    }


def judge(name, what, kind, target, beside, counters):
    """One line of the result."""
    line = {"name": name, "what": what, "beside": beside, "kind": kind, "target": target}
    line |= counters
    if kind == BYTES:
        line["figure"] = max(counters["ours"], counters["opened"])
    elif kind == SPEEDUP:
        line["figure"] = 1 / counters["ratio"]
    else:
        line["figure"] = counters["ratio"]
    if target is None:
        line["met"] = None
    else:
        line["met"] = line["figure"] >= target if kind == SPEEDUP else line["figure"] <= target
    return line


def format_time(seconds):
    for unit, scale in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3)):
        if seconds < 1000 * scale:
            return f"{seconds / scale:.3g} {unit}"
    return f"{seconds:.3g} s"


def format_row(line):
    sign = ">=" if line["kind"] == SPEEDUP else "<="
    if line["kind"] == BYTES:
        texts = [f"{line['figure']:.0f} bytes", "", ""]
    else:
        texts = [format_time(line["ours"]), format_time(line["bare"]), f"{line['figure']:.2f}"]
    if line["met"] is None:
        texts += ["", ""]
    else:
        texts += [f"{sign} {line['target']}", "yes" if line["met"] else "NO"]
    texts.append(line["beside"])
    return [line["what"], *texts]


def print_table(lines):
    rows = [["", "figure", "beside", "ratio", "target", "met", "beside what"]]
    rows += [format_row(line) for line in lines]
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    for row in rows:
        cells = [row[0].ljust(widths[0])]
        cells += [cell.rjust(width) for cell, width in zip(row[1:6], widths[1:6])]
        print("  ".join([*cells, row[6]]).rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="folder of a build with benchmarks")
    parser.add_argument("--runs", type=int, default=3, help="runs of every program (default 3)")
    parser.add_argument("--filter", default=".", metavar="REGEX", help="only these benchmarks")
    parser.add_argument("--json", action="store_true", help="print one JSON document")
    arguments = parser.parse_args()

    programs = sorted(arguments.build.glob("bench/*_bench"))
    if not programs:
        parser.error(f"no benchmarks in {arguments.build}: configure with NCCNET_BUILD_BENCH=ON")
    measured = measure(programs, arguments.runs, arguments.filter)
    lines = [judge(*target, measured[target[0]]) for target in TARGETS if target[0] in measured]
    if arguments.json:
        print(json.dumps({"schema": 1, "runs": arguments.runs, "results": lines}, indent=2))
    else:
        print_table(lines)
    return 1 if any(line["met"] is False for line in lines) else 0


if __name__ == "__main__":
    sys.exit(main())
