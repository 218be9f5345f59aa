"""What the tests of nccadm share: each drives the tool as a process on a database of its own."""

import json
import os
import subprocess
import sys
import tempfile
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


def main():
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
