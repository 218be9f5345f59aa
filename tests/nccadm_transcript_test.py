"""Commands and all that they print, as golden/nccadm/*.txt has it: nccadm_transcript_test.py NCCADM

A transcript begins with what it is about. "== title" begins a new folder with the database "net"
to come, and "$ " a command for bash, which lines with "> " continue. Behind it stand its output,
behind "--" its errors, and in brackets its exit code unless that is 0. With --approve the
transcripts are written anew, and the titles of those told that have changed.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

GOLDEN = pathlib.Path(__file__).resolve().parent / "golden" / "nccadm"


def run(command, folder, tool):
    environment = {"PATH": f"{os.path.dirname(tool)}:{os.environ['PATH']}", "NCCADM_DB": "net",
                   "NCCNET_STAMP_KEY": "key", "LC_ALL": "C.UTF-8", "TERM": "dumb"}
    done = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, timeout=60,
                          stdin=subprocess.DEVNULL, capture_output=True, check=False)
    text = ""
    for mark, part in (("", done.stdout.decode()), ("--\n", done.stderr.decode())):
        if part:
            text += mark + part + ("" if part.endswith("\n") else "\n")
    text = text.replace(os.path.realpath(folder), "FOLDER")
    return text + (f"[{done.returncode}]\n" if done.returncode else "")


def read(path):
    """What it is about, and each section as its title and its body."""
    head, *sections = path.read_bytes().decode().split("\n== ")
    if not sections or head.startswith(("== ", "$ ")) or "\n$ " in head:
        sys.exit(f"{path.name} does not begin with what it is about and a section")
    return head, [section.partition("\n")[::2] for section in sections]


def transcripts():
    paths = sorted(GOLDEN.glob("*.txt"))
    return paths or sys.exit(f"there are no transcripts in {GOLDEN}")


def commands(section):
    """Each command of a section as it is written, and as bash takes it."""
    written = []
    for line in section.splitlines(keepends=True):
        if line.startswith("$ "):
            written.append(line)
        elif line.startswith("> ") and written:
            written[-1] += line
    return [(command, "".join(line[2:] for line in command.splitlines(keepends=True)))
            for command in written]


def replay(section, tool):
    with tempfile.TemporaryDirectory() as folder:
        return "".join(written + run(command, folder, tool)
                       for written, command in commands(section))


class TranscriptTest(unittest.TestCase):
    maxDiff = None

    def test_transcripts(self):
        for path in transcripts():
            for title, body in read(path)[1]:
                with self.subTest(f"{path.name}: {title}"):
                    self.assertTrue(commands(body), "no command")
                    self.assertMultiLineEqual(body, replay(body, TOOL))


def approve():
    for path in transcripts():
        head, sections = read(path)
        replayed = [(title, body, replay(body, TOOL)) for title, body in sections]
        for title, body, now in replayed:
            if now != body:
                print(f"{path.name}: {title}")
        path.write_text(head + "".join(f"\n== {title}\n{now}" for title, _, now in replayed),
                        encoding="utf-8")


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    if not os.access(TOOL, os.X_OK):
        sys.exit(f"{TOOL} cannot be run")
    approve() if "--approve" in sys.argv else unittest.main()
