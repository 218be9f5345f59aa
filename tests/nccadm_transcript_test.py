"""Commands and all that they print, as golden/nccadm/*.txt has it: nccadm_transcript_test.py NCCADM

In a transcript "== title" begins a new folder with the database "net" to come, and "$ " a command
for bash, which lines with "> " continue. Behind it stand its output, its errors, and in brackets
its exit code unless that is 0. With --approve the transcripts are written anew.
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
    for part in (done.stdout.decode(), done.stderr.decode()):
        text += part if part.endswith("\n") or not part else part + "\n"
    text = text.replace(os.path.realpath(folder), "FOLDER")
    return text + (f"[{done.returncode}]\n" if done.returncode else "")


def read(path):
    return path.read_bytes().decode().split("\n== ")


def commands(section):
    """Each command of a section as it is written, and as bash takes it."""
    written = []
    for line in section.splitlines(keepends=True):
        if line.startswith("$ "):
            written.append(line)
        elif line.startswith("> ") and written:
            written[-1] += line
    return [(one, "".join(line[2:] for line in one.splitlines(keepends=True))) for one in written]


def replay(section, tool):
    with tempfile.TemporaryDirectory() as folder:
        return "".join(one + run(command, folder, tool) for one, command in commands(section))


class TranscriptTest(unittest.TestCase):
    maxDiff = None

    def test_transcripts(self):
        for path in sorted(GOLDEN.glob("*.txt")):
            for section in read(path)[1:]:
                title, _, body = section.partition("\n")
                with self.subTest(f"{path.name}: {title}"):
                    self.assertMultiLineEqual(body, replay(body, TOOL))


def approve():
    for path in sorted(GOLDEN.glob("*.txt")):
        head, *sections = read(path)
        split = [section.partition("\n") for section in sections]
        path.write_text(head + "".join(f"\n== {title}\n{replay(body, TOOL)}"
                                       for title, _, body in split))


if __name__ == "__main__":
    TOOL = os.path.abspath(sys.argv.pop(1))
    approve() if "--approve" in sys.argv else unittest.main()
