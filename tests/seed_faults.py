#!/usr/bin/env python3
"""What the tests notice: puts the faults of seeded_faults.txt into the library one at a time,
builds, and runs the suites until one fails.

    tests/seed_faults.py [--build build/dev] [--only 1,5-8] [--jobs 2] [--check]

The tree that the build folder was made for is changed in place; each file is put back before the
next fault, and when this is interrupted.
"""
import argparse
import os
import pathlib
import re
import signal
import subprocess
import sys

ROOMS = ("core", "exchange", "generate", "platform", "structure")
SLOW = ("callback", "output_fault", "random", "crash", "engine_fault")  # these last, in this order
BELOW = ("engine", "engine_fault", "crash")  # these see nothing of the rooms above the storage
ABOVE = ("exchange_container", "exchange_thread", "exchange_view", "output_fault", "stamps",
         "thread", "update_manager")  # and these next to nothing of those below generate
ROUNDS = "4"
SECONDS = 300


class Fault:
    def __init__(self, number, heading, lines):
        self.number = number
        self.room, self.what = re.fullmatch(r"\[(\w+)\] (.+)", heading).groups()
        fields = dict(line.split(" ", 1) for line in lines)
        self.text, self.replacement = fields["-"], fields["+"]
        self.hints = fields.get("?", "").split()
        self.reason = fields.get("=")  # why nobody can observe it

    def place(self, sources):
        """The file and the place in it; ends the program unless there is exactly one."""
        pattern = re.compile(r"\s+".join(re.escape(word) for word in self.text.split()))
        found = [(path, match.span()) for path, text in sources.items()
                 for match in pattern.finditer(text)]
        if len(found) != 1:
            sys.exit(f"fault {self.number} ({self.what}): {len(found)} places have its text")
        return found[0]


def read_faults(path):
    faults, heading, lines = [], None, []
    for line in path.read_text().splitlines() + ["[end]"]:
        if line.startswith("["):
            if heading:
                faults.append(Fault(len(faults) + 1, heading, lines))
            heading, lines = line, []
        elif heading and line.strip():
            lines.append(line)
    return faults


def chosen(text, count):
    numbers = set()
    for part in text.split(",") if text else [f"1-{count}"]:
        first, _, last = part.partition("-")
        numbers.update(range(int(first), int(last or first) + 1))
    return numbers


class Suites:
    """The test programs of a build folder, the quick ones first."""

    def __init__(self, build, source, jobs):
        self.build, self.jobs = build, str(jobs)
        names = [path.name.removesuffix("_test.cpp") for path in source.glob("tests/*_test.cpp")]
        self.names = sorted(names, key=lambda name: (name in SLOW and SLOW.index(name) + 1, name))

    def make(self, target):
        return subprocess.run(["cmake", "--build", self.build, "--target", target, "-j", self.jobs],
                              stdout=subprocess.DEVNULL, check=False).returncode == 0

    def run(self, name):
        """The first test of a suite that fails; None when all pass."""
        command = [self.build / "tests" / f"{name}_test", "--gtest_fail_fast", "--gtest_brief=1"]
        environment = {"NCCNET_TEST_ROUNDS": ROUNDS, **os.environ}
        try:
            done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, text=True,
                                  errors="replace", stderr=subprocess.DEVNULL, timeout=SECONDS,
                                  cwd=self.build, check=False)
        except subprocess.TimeoutExpired:
            return f"{name}: no end"
        if done.returncode == 0:
            return None
        failed = re.search(r"^\[  FAILED  \] ([\w./]+)", done.stdout, re.MULTILINE)
        return f"{name}: {failed[1] if failed else 'it crashes'}"

    def able(self, name, room):
        """Whether a suite runs through the code of a room."""
        if room == "storage":
            return name in BELOW or name in ("damage", "lifecycle")
        if room in ("exchange", "generate"):
            return name not in BELOW and name.startswith("exchange") == (room == "exchange")
        return name not in BELOW + ABOVE

    def notice(self, fault):
        """What notices the fault that is in the tree; None when nothing does."""
        hints = [name for name in fault.hints if name in self.names]
        others = [name for name in self.names if name not in hints and self.able(name, fault.room)]
        for name in hints + others:
            if not self.make(f"{name}_test"):
                return "does not build"
            if failed := self.run(name):
                return failed
        return None


def interrupted(*_):
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--build", default="build/dev", type=pathlib.Path)
    parser.add_argument("--only", default="", help="numbers of faults: 1,5-8")
    parser.add_argument("--jobs", default=2, type=int)
    parser.add_argument("--check", action="store_true", help="only look for the places")
    arguments = parser.parse_args()
    signal.signal(signal.SIGTERM, interrupted)
    source = pathlib.Path(__file__).resolve().parent.parent
    suites = Suites(arguments.build.resolve(), source, arguments.jobs)
    sources = {path: path.read_text() for room in ROOMS
               for path in sorted(source.glob(f"{room}/**/*")) if path.suffix in (".cpp", ".h")}
    faults = read_faults(source / "tests" / "seeded_faults.txt")
    places = {fault: fault.place(sources) for fault in faults}
    if arguments.check:
        return
    numbers = chosen(arguments.only, len(faults))
    noticed, counted = 0, 0
    for fault in (fault for fault in faults if fault.number in numbers):
        path, (start, end) = places[fault]
        text = sources[path]
        try:
            path.write_text(text[:start] + fault.replacement + text[end:])
            outcome = suites.notice(fault)
        finally:
            path.write_text(text)
        counted += fault.reason is None
        noticed += outcome not in (None, "does not build") and fault.reason is None
        if outcome is None and fault.reason:
            outcome = f"nothing to observe: {fault.reason}"
        told = outcome or "NOT NOTICED"
        print(f"{fault.number:3} [{fault.room}] {fault.what}: {told}", flush=True)
    print(f"{noticed} of {counted} noticed")


if __name__ == "__main__":
    main()
