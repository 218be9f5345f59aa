#!/usr/bin/env python3
"""What the tests notice: puts the faults of seeded_faults.txt into the library one at a time,
builds, and runs the suites until one fails.

    tests/seed_faults.py [--build build/debug] [--only 1,5-8] [--jobs 2] [--check]

The tree that the build folder was made for is changed in place; each file is put back before the
next fault, and when this is interrupted.
"""
import argparse
import os
import pathlib
import re
import signal
import subprocess

ROOMS = ("core", "exchange", "generate", "platform", "structure")
# These last, in this order.
SLOW = ("callback", "output_fault", "random", "crash", "kill", "engine_fault")
# These see nothing of the rooms above the storage.
BELOW = ("engine", "engine_fault", "crash", "kill")
ABOVE = ("exchange_container", "exchange_thread", "exchange_view", "output_fault", "stamps",
         "thread", "update_manager")  # and these next to nothing of those below generate
ROUNDS = "4"
SECONDS = 300
SOURCE = pathlib.Path(__file__).resolve().parent.parent


class Fault:
    def __init__(self, number, lines, sources):
        self.number = number
        self.room, self.what = re.fullmatch(r"\[(\w+)\] (.+)", lines[0]).groups()
        fields = dict(line.split(" ", 1) for line in lines[1:])
        self.replacement = fields["+"]
        self.hints = fields.get("?", "").split()
        self.reason = fields.get("=")  # why nobody can observe it
        pattern = r"\s+".join(map(re.escape, fields["-"].split()))
        self.places = [(path, *match.span()) for path, text in sources.items()
                       for match in re.finditer(pattern, text)]


def read_faults():
    sources = {path: path.read_text() for room in ROOMS
               for path in sorted(SOURCE.glob(f"{room}/**/*")) if path.suffix in (".cpp", ".h")}
    blocks = (SOURCE / "tests" / "seeded_faults.txt").read_text().split("\n\n")[1:]
    return [Fault(number, block.strip().split("\n"), sources)
            for number, block in enumerate(blocks, 1)]


def chosen(text, count):
    numbers = set()
    for part in text.split(",") if text else [f"1-{count}"]:
        first, _, last = part.partition("-")
        numbers.update(range(int(first), int(last or first) + 1))
    return numbers


class Suites:
    """The test programs of a build folder, the quick ones first."""

    def __init__(self, build, jobs):
        self.build, self.jobs = build, str(jobs)
        names = [path.name.removesuffix("_test.cpp") for path in SOURCE.glob("tests/*_test.cpp")]
        self.names = sorted(names, key=lambda name: (name in SLOW and SLOW.index(name) + 1, name))

    def able(self, name, room):
        """Whether a suite runs through the code of a room."""
        if room == "storage":
            return name in BELOW or name in ("damage", "lifecycle")
        if room in ("exchange", "generate"):
            return name not in BELOW and name.startswith("exchange") == (room == "exchange")
        return name not in BELOW + ABOVE

    def make(self, target):
        return subprocess.run(["cmake", "--build", self.build, "--target", target, "-j", self.jobs],
                              stdout=subprocess.DEVNULL, check=False).returncode == 0

    def run(self, name):
        """The first test of a suite that fails; None when all pass."""
        command = [self.build / "tests" / f"{name}_test", "--gtest_fail_fast", "--gtest_brief=1"]
        try:
            done = subprocess.run(command, env={"NCCNET_TEST_ROUNDS": ROUNDS, **os.environ},
                                  capture_output=True, text=True, errors="replace", check=False,
                                  timeout=SECONDS, cwd=self.build)
        except subprocess.TimeoutExpired:
            return f"{name}: no end"
        failed = re.search(r"^\[  FAILED  \] ([\w./]+)", done.stdout, re.MULTILINE)
        return f"{name}: {failed[1] if failed else 'it crashes'}" if done.returncode else None

    def notice(self, fault):
        """What notices the fault that is in the tree; None when nothing does."""
        others = [name for name in self.names if self.able(name, fault.room)]
        for name in dict.fromkeys([name for name in fault.hints if name in self.names] + others):
            if not self.make(f"{name}_test"):
                return "does not build"
            if failed := self.run(name):
                return failed
        return None


def seed(fault, suites):
    path, start, end = fault.places[0]
    text = path.read_text()
    try:
        path.write_text(text[:start] + fault.replacement + text[end:])
        return suites.notice(fault)
    finally:
        path.write_text(text)


def interrupted(*_):
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--build", default="build/debug", type=pathlib.Path)
    parser.add_argument("--only", default="", help="numbers of faults: 1,5-8")
    parser.add_argument("--jobs", default=2, type=int)
    parser.add_argument("--check", action="store_true", help="only look for the places")
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, interrupted)
    faults = read_faults()
    numbers = chosen(arguments.only, len(faults))
    suites = Suites(arguments.build.resolve(), arguments.jobs)
    noticed, counted = 0, 0
    for fault in (fault for fault in faults if fault.number in numbers):
        if len(fault.places) != 1:
            outcome = f"{len(fault.places)} places have its text"
        elif arguments.check:
            continue
        elif (outcome := seed(fault, suites)) != "does not build":
            noticed += fault.reason is None and outcome is not None
            counted += fault.reason is None
            outcome = outcome or (f"nothing to observe: {fault.reason}" if fault.reason
                                  else "NOT NOTICED")
        print(f"{fault.number:3} [{fault.room}] {fault.what}: {outcome}", flush=True)
    print(f"{noticed} of {counted} noticed")


if __name__ == "__main__":
    main()
