#!/usr/bin/env python3
"""Lets a second control centre take over from one that dies, with a third machine that keeps watch.

    demo.py DESCRIPTION [--nccadm NCCADM] [--generate]

Everything runs on this machine and is removed at the end: three nodes of etcd, and two centres
with a folder each. The network of the description goes into the cluster; the first centre works
on it and dies in the midst of a change, together with the node that leads; the second one goes
on. Ends with 1 when anything is not as it was acknowledged, with 77 where etcd is missing. With
--generate the second centre also keeps its files ready.
"""

import argparse
import contextlib
import json
import os
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

CHANGES = 20  # that the first centre makes before it dies
LEASE = 2  # seconds
PATIENCE = 30  # seconds that anything here may take

FIRST, SECOND = "first/research", "second/research"


def say(text):
    print(f"\n== {text}", flush=True)


def require(is_so, text):
    if not is_so:
        sys.exit(f"demo: {text}")


def wait_for(happens, text):
    end = time.monotonic() + PATIENCE
    while not happens():
        require(time.monotonic() < end, f"{text} within {PATIENCE} s")
        time.sleep(0.02)


class Tool:
    """nccadm, which works in the current folder."""

    def __init__(self, program):
        self.program = program

    def command(self, *arguments):
        return [self.program, *arguments]

    def run(self, *arguments, code=0):
        done = subprocess.run(self.command(*arguments), stdout=subprocess.PIPE, text=True,
                              check=False)
        require(done.returncode == code,
                f"{shlex.join(arguments)} ended with {done.returncode} and not {code}")
        return done.stdout

    def show(self, *arguments, code=0):
        print("$", shlex.join(("nccadm",) + arguments), flush=True)
        print(self.run(*arguments, code=code), end="", flush=True)

    def json(self, *arguments, code=0):
        return json.loads(self.run("--json", "--quiet", *arguments, code=code))


def free_ports(count):
    with contextlib.ExitStack() as stack:
        sockets = [stack.enter_context(socket.socket()) for _ in range(count)]
        for one in sockets:
            one.bind(("127.0.0.1", 0))
        return [one.getsockname()[1] for one in sockets]


def start_node(folder):
    """What systemd does with the settings of a machine, but in a folder of this one."""
    with open(f"{folder}/etcd", encoding="utf-8") as file:
        settings = dict(line.rstrip("\n").split("=", 1) for line in file)
    place = os.path.abspath(folder)
    for name, value in settings.items():
        settings[name] = value.replace("/etc/nccnet-cluster", place)
    settings["ETCD_DATA_DIR"] = f"{place}/data"
    os.makedirs(settings["ETCD_DATA_DIR"], mode=0o700)
    with open(f"{folder}/log", "w", encoding="utf-8") as log:
        return subprocess.Popen(["etcd", "--logger", "zap", "--log-level", "error"],
                                env={"PATH": os.environ["PATH"], **settings}, stdout=log,
                                stderr=log)


class Standby:
    """The second centre: what it tells, one event after the other."""

    def __init__(self, tool, stack, generate):
        files = ("--out", "second/out", "--unstamped") if generate else ()
        with open("second/hook", "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\necho $NCCADM_EVENT $NCCADM_REVISION >second/told\n")
        os.chmod("second/hook", 0o755)
        self.process = stack.enter_context(subprocess.Popen(
            tool.command("--json", "--db", SECOND, "standby", "--once", "--hook", "second/hook",
                         *files), stdout=subprocess.PIPE))
        stack.callback(self.process.kill)
        self.text = ""
        while '"events": [' not in self.text:
            self.read()
        self.text = self.text.split('"events": [', 1)[1]
        self.next("standby")

    def read(self):
        told = os.read(self.process.stdout.fileno(), 65536)
        require(told, "the standby has ended")
        self.text += told.decode()

    def next(self, kind):
        """The next event of that kind."""
        while True:
            self.text = self.text.lstrip(", \n")
            try:
                event, end = json.JSONDecoder().raw_decode(self.text)
            except json.JSONDecodeError:  # there is more to come
                self.read()
                continue
            self.text = self.text[end:]
            if event["event"] == kind:
                return event


def begin_change(tool, stack):
    """An owner in the midst of a change that it will not end."""
    owner = stack.enter_context(subprocess.Popen(tool.command("--db", FIRST, "batch", "-"),
                                                 stdin=subprocess.PIPE))
    stack.callback(owner.kill)
    for number in range(1000):
        owner.stdin.write(f"server add Never{number}\n".encode())
    owner.stdin.flush()
    is_owner = lambda: (tool.json("--db", SECOND, "cluster", "status")["owner"] or "").startswith(
        f"process {owner.pid} ")
    wait_for(is_owner, "the first centre does not own the network")
    return owner


def start_cluster(tool, stack):
    say("Three machines keep the network, each with settings and certificates of its own")
    ports = free_ports(6)
    hosts = [f"127.0.0.1:{ports[i]}:{ports[i + 3]}" for i in range(3)]
    print(f"$ nccadm --db research cluster init {' '.join(hosts)} --lease {LEASE}", flush=True)
    tool.run("--quiet", "--db", "research", "cluster", "init", *hosts, "--lease", str(LEASE))
    nodes = {}
    for name in sorted(set(os.listdir("cluster")) - {"authority", "centre"}):
        node = stack.enter_context(start_node(f"cluster/{name}"))
        stack.callback(node.kill)
        with open(f"cluster/{name}/etcd", encoding="utf-8") as file:
            place = next(line for line in file if line.startswith("ETCD_ADVERTISE_CLIENT_URLS="))
        nodes[place.rstrip("\n").split("=", 1)[1]] = node
    for centre in ("first", "second"):
        shutil.copytree("cluster/centre", centre)
    is_up = lambda: subprocess.run(
        tool.command("--json", "--quiet", "--db", FIRST, "cluster", "status"),
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0
    wait_for(is_up, "the machines do not come up")  # 3: not all are well
    return nodes


def demonstrate(tool, stack, description, generate):
    tool.run("--quiet", "--db", "file/research", "init", "--network", "0x1A")
    tool.run("--quiet", "--db", "file/research", "apply", description)
    nodes = start_cluster(tool, stack)
    tool.show("cluster", "copy", "file/research", FIRST)

    say("The second centre follows while the first one works")
    standby = Standby(tool, stack, generate)
    for number in range(CHANGES):
        tool.run("--quiet", "--db", FIRST, "server", "add", f"New{number}")
    acknowledged = tool.json("--db", FIRST, "info")["revision"]
    tool.run("--quiet", "--db", FIRST, "dump", "--ids", "acknowledged.yaml")
    wait_for(lambda: standby.next("revision")["revision"] == acknowledged,
             "the standby does not follow")
    if generate:
        wait_for(lambda: os.path.exists("second/out/KC/NODENAME.DOC") and
                 f"New{CHANGES - 1}".encode() in read("second/out/KC/NODENAME.DOC"),
                 "the standby does not generate its files")
    owner = begin_change(tool, stack)
    tool.show("--db", SECOND, "cluster", "status")
    tool.show("--db", SECOND, "server", "add", "Refused", code=6)

    say("The first centre dies in the midst of its next change, and with it the node that leads")
    status = tool.json("--db", SECOND, "cluster", "status")
    leader = next(node["place"] for node in status["nodes"] if node["text"].startswith("leads"))
    died = time.time()
    owner.send_signal(signal.SIGKILL)
    nodes[leader].send_signal(signal.SIGKILL)
    event = standby.next("takeover")
    print(f"The second centre has taken over at revision {event['revision']}, "
          f"{time.time() - died:.1f} s later; {acknowledged} was acknowledged.", flush=True)
    require(event["revision"] == acknowledged + 1, "the takeover does not follow what was stored")
    require(standby.process.wait(PATIENCE) == 0, "the standby failed")
    told = f"takeover {event['revision']}\n".encode()
    require(read("second/told") == told, "the hook did not run")

    say("It goes on, with every acknowledged change and nothing of the one that was cut off")
    tool.run("--quiet", "--db", SECOND, "dump", "--ids", "second.yaml")
    require(read("second.yaml") == read("acknowledged.yaml"), "the network differs")
    tool.show("--db", SECOND, "server", "add", "Afterwards")
    tool.show("--db", SECOND, "cluster", "status", code=3)
    tool.run("--quiet", "cluster", "copy", SECOND, "file/back")
    for name, database in (("cluster", SECOND), ("file", "file/back")):
        tool.run("--quiet", "--db", database, "dump", "--ids", f"{name}.yaml")
    require(read("cluster.yaml") == read("file.yaml"), "the copy in a file differs")
    require(b"Afterwards" in read("file.yaml"), "the copy lacks the last change")
    print("\nNothing was lost; a copy back into a file is equal.")


def read(name):
    with open(name, "rb") as file:
        return file.read()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("description")
    parser.add_argument("--nccadm", default="nccadm")
    parser.add_argument("--generate", action="store_true")
    arguments = parser.parse_args()
    missing = [name for name in ("etcd", "openssl") if not shutil.which(name)]
    if missing:
        print(f"\n*** NOT INSTALLED: {', '.join(missing)}. NOTHING OF A TAKEOVER WAS TRIED ***",
              file=sys.stderr)
        sys.exit(77)
    description = os.path.abspath(arguments.description)
    program = shutil.which(arguments.nccadm)
    require(program, f"{arguments.nccadm} is not there")
    tool = Tool(os.path.abspath(program))
    os.environ.pop("NCCADM_DB", None)
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.mkdir("file")
        try:
            with contextlib.ExitStack() as stack:
                demonstrate(tool, stack, description, arguments.generate)
        finally:
            os.chdir("/")


if __name__ == "__main__":
    main()
