"""What the tests of nccadm share: each drives the tool as a process on a database of its own."""

import contextlib
import json
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import termios
import time
import unittest

CITY = """network: 0x1A
servers:
  - name: Center
    applications: [ncc, 0x20000]
    links: [North, South]
    aps:
      - Ivanov
      - {name: Petrov, applications: [kc]}
  - name: North
    value: 77
    aps: [Sidorov]
  - South
"""


def tool():
    return os.path.abspath(sys.argv[1])


class Terminal:
    """A process with every stream on one terminal."""

    def __init__(self, arguments, environment):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.execvpe(arguments[0], arguments, environment)

    def type(self, text, until):
        """Gives what is shown for it, without what moves the cursor, once that ends in `until`."""
        os.write(self.terminal, text.encode())
        raw, shown, deadline = b"", "", time.monotonic() + 60
        while not re.search(until, shown):
            left = max(0, deadline - time.monotonic())
            if not select.select([self.terminal], [], [], left)[0]:
                raise AssertionError(f"{text!r} shows {shown!r} and not {until!r}")
            try:
                raw += os.read(self.terminal, 4096)
            except OSError as ended:
                raise AssertionError(f"{text!r} ends it, with {shown!r}") from ended
            shown = re.sub(r"\x1b\[[\d;?]*[@-~]|\r", "", raw.decode(errors="replace"))
        # A prompt is shown a moment before keys are taken one by one.
        while until.endswith("$") and termios.tcgetattr(self.terminal)[3] & termios.ICANON:
            time.sleep(0.001)
        return shown

    def end(self):
        """The exit code, once it has ended by itself."""
        try:
            while os.read(self.terminal, 4096):
                pass
        except OSError:
            pass
        os.close(self.terminal)
        return os.waitstatus_to_exitcode(os.waitpid(self.process, 0)[1])


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.db = self.path("net")
        self.ok("init", "--network", "0x1A")

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name), "wb") as file:
            file.write(text if isinstance(text, bytes) else text.encode())
        return self.path(name)

    def environment(self):
        kept = {k: v for k, v in os.environ.items() if k != "NO_COLOR"}
        return {**kept, "NCCADM_DB": self.db, "NCCNET_STAMP_KEY": self.path("key"),
                "TERM": "xterm"}

    def run_tool(self, *arguments, text="", **options):
        done = subprocess.run([tool(), *arguments], input=text.encode(), env=self.environment(),
                              stdout=options.pop("stdout", subprocess.PIPE),
                              stderr=subprocess.PIPE, timeout=120, **options)
        return done.returncode, (done.stdout or b"").decode(), done.stderr.decode()

    def ok(self, *arguments, text=""):
        code, out, err = self.run_tool(*arguments, text=text)
        self.assertEqual(code, 0, f"{arguments}: {err}")
        return out

    def refused(self, *arguments, code=1, says=(), text=""):
        got, out, err = self.run_tool(*arguments, text=text)
        self.assertEqual(got, code, f"{arguments}: {out}{err}")
        for part in (says,) if isinstance(says, str) else says:
            self.assertIn(part, err)
        return out, err

    def json(self, *arguments):
        document = json.loads(self.ok("--json", *arguments))
        self.assertEqual(document.pop("schema"), 1)
        return document

    def apply_city(self):
        self.ok("apply", self.write("city.yaml", CITY))

    def revision(self):
        return self.json("info")["revision"]

    def is_locked(self):
        return "in use" in self.run_tool("info")[2]

    @contextlib.contextmanager
    def locked(self):
        """Meanwhile another process has the database open."""
        with subprocess.Popen([tool(), "apply", "-"], env=self.environment(),
                              stdin=subprocess.PIPE, stderr=subprocess.DEVNULL) as holder:
            try:
                while not self.is_locked():
                    time.sleep(0.01)
                yield
            finally:
                holder.stdin.close()


def main():
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
