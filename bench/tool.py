#!/usr/bin/env python3
"""Measures nccadm on the full network: processor time and memory of the commands that take most.

    bench/tool.py build/release/tools/nccadm/nccadm [OTHER_NCCADM]

With another build of nccadm the two take turns, on a database of their own each, and the ratios of
their medians are printed too.
"""
import argparse
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

SERVERS, APS, USERS, DEPS, GROUPS = 256, 12_000, 45_000, 3_000, 1_500
MISSPELT, IMPORTED = 20_000, 5_000


def group_of(dep):
    return dep % GROUPS


def nodes_of(group):
    """A server and three APs."""
    return [f"Server {group % SERVERS:03}"] + [f"Абонентский пункт {(4 * group + i) % APS:05}"
                                               for i in range(3)]


def description():
    yield "network: 26\nservers:\n"
    for server in range(SERVERS):
        yield f"  - name: Server {server:03}\n    aps:\n"
        for ap in range(server, APS, SERVERS):
            yield f"      - {{name: Абонентский пункт {ap:05}, applications: [MAIL, FILES]}}\n"
    yield "groups:\n"
    for group in range(GROUPS):
        yield f"  - {{name: Group {group:04}, nodes: [{', '.join(nodes_of(group))}]}}\n"
    yield "group_deps:\n"
    for dep in range(DEPS):
        yield f"  - [Group {group_of(dep):04}, Отделение {dep:04}]\n"
    yield "deps:\n"
    for dep in range(DEPS):
        yield f"  - {{name: Отделение {dep:04}, links: [Отделение {(dep + 1) % DEPS:04}]}}\n"
    yield "users:\n"
    for user in range(USERS):
        dep = user % DEPS
        nodes = nodes_of(group_of(dep))[:1 + (user % 4 == 0)]
        held = ", ".join(f"{{dep: Отделение {dep:04}, node: {node}}}" for node in nodes)
        yield (f"  - name: Потребитель {user:05}\n    deps: [Отделение {dep:04}]\n"
               f"    memberships: [{held}]\n"
               f"    primary: {{dep: Отделение {dep:04}, node: {nodes[0]}}}\n")


def everywhere():
    """One group of all nodes."""
    names = [f"Server {i:03}" for i in range(SERVERS)]
    names += [f"Абонентский пункт {i:05}" for i in range(APS)]
    return ("network: 26\ngroups:\n  - name: Everywhere\n    nodes:\n"
            + "".join(f"      - {name}\n" for name in names)
            + "    deps: [All]\ndeps: [All]\n")


def write_inputs(folder):
    texts = {
        "full.yaml": "".join(description()),
        "everywhere.yaml": everywhere(),
        "users.csv": "name,deps,nodes\n" + "".join(
            f"Новый {i:05},All,Абонентский пункт {i:05}\n" for i in range(IMPORTED)),
        "aps.csv": "name,server\n" + "".join(
            f"Новый {i:05},Sevrer {i % SERVERS:03}\n" for i in range(MISSPELT)),
        "misspelt.yaml": "network: 26\ndeps:\n" + "".join(
            f"  - {{name: Отделение {i % DEPS:04} {i}, users: [Потребтиель {i:05}]}}\n"
            for i in range(MISSPELT)),
    }
    for name, text in texts.items():
        (folder / name).write_text(text, encoding="utf-8")


# What is measured, the command, its exit code.
COMMANDS = [
    ("plan of the full network, none of it there", ["--db", "{empty}", "plan", "full.yaml"], 4),
    ("dump", ["dump", "copy.yaml", "--yes"], 0),
    ("plan of what was dumped: nothing to do", ["plan", "copy.yaml"], 0),
    ("user list --json, 45,000 users", ["--json", "user", "list"], 0),
    ("import-csv, 5,000 users at nodes of a group of 12,256",
     ["--db", "{many}", "import-csv", "users", "users.csv"], 0),
    ("import-csv, 20,000 misspelt servers", ["import-csv", "aps", "aps.csv"], 1),
    ("plan, 20,000 misspelt users", ["plan", "misspelt.yaml"], 1),
]


class Tool:
    def __init__(self, binary, inputs, folder):
        self.binary = binary
        self.inputs = inputs
        self.places = {name: str(folder / name) for name in ("full", "empty", "many")}
        folder.mkdir()
        for name, files in (("full", ["full.yaml"]), ("empty", []),
                            ("many", ["full.yaml", "everywhere.yaml"])):
            self.run(["--db", self.places[name], "init", "--network", "26"])
            for file in files:
                self.run(["--db", self.places[name], "apply", file])

    def run(self, arguments, code=0):
        """Processor time in seconds and memory in bytes."""
        command = [self.binary, *(one.format(**self.places) for one in arguments)]
        process = subprocess.Popen(command, cwd=self.inputs, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.PIPE,
                                   env={**os.environ, "NCCADM_DB": self.places["full"]})
        words = process.stderr.read()
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != code:
            sys.exit(f"{command}: {process.returncode}\n{words.decode()}")
        return used.ru_utime + used.ru_stime, used.ru_maxrss * 1024


def measure(tools, runs):
    """Medians for each command: a list of (seconds, bytes), one of each tool."""
    found = [[[] for _ in tools] for _ in COMMANDS]
    for number in range(runs):
        print(f"run {number + 1} of {runs}", file=sys.stderr)
        for samples, (_, arguments, code) in zip(found, COMMANDS):
            for sample, tool in zip(samples, tools):
                sample.append(tool.run(arguments, code))
    return [[tuple(map(statistics.median, zip(*sample))) for sample in samples]
            for samples in found]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("nccadm", nargs="+", help="the tool, and another build of it")
    parser.add_argument("--runs", type=int, default=3, help="runs of every command (default 3)")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as place:
        folder = pathlib.Path(place)
        write_inputs(folder)
        tools = [Tool(os.path.abspath(binary), folder, folder / str(number))
                 for number, binary in enumerate(arguments.nccadm)]
        for (what, _, _), results in zip(COMMANDS, measure(tools, arguments.runs)):
            cells = [f"{seconds:6.2f} s {size >> 20:4} MiB" for seconds, size in results]
            if len(results) == 2:
                cells += [f"{mine / other:5.2f}" for mine, other in zip(*results)]
            print("  ".join([what.ljust(54), *cells]))


if __name__ == "__main__":
    main()
