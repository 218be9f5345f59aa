"""nccadm shell. Usage: shell_test.py NCCADM"""

import os
import signal
import subprocess
import time

from nccadm_tool import Terminal, ToolTest, main, tool

PROMPT = r"\nnccadm net( batch)?( \[\d+\])?> $"


class Shell(Terminal):
    def type(self, text, until=PROMPT):
        return super().type(text, until)


class ShellTest(ToolTest):
    def environment(self):
        return {**super().environment(), "HOME": self.folder, "XDG_STATE_HOME": ""}

    def open_shell(self, *options):
        shell = Shell([tool(), "shell", *options], self.environment())
        shell.type("")
        return shell

    def history(self):
        with open(self.path(".local/state/nccadm/history"), encoding="utf-8") as file:
            return file.read().splitlines()

    def test_lines_are_completed_carried_out_and_kept(self):
        self.apply_city()
        for name in ("North East", "x y\\z", "it's"):
            self.ok("server", "add", name)
        os.makedirs(self.path(".local/state/nccadm"))
        former = [f"find {number}" for number in range(1200)]
        self.write(".local/state/nccadm/history", "\n".join(former) + "\n")
        shell = self.open_shell()
        for typed, shows in (("ser\tsh\tCen\t\n", r"\nname +Center\n"),
                             ('server show "North E\t\n', r"\nname +North East\n"),
                             ("server show x\\ \t\n", r"\nname +x y\\z\n"),
                             ("server show 'it\t\n", r"\nname +it's\n"),
                             ("user show Nobody\n", r"no user.*\n.*\n.*net \[1\]> "),
                             ("app set Center mai\t\n", "MAIL"),
                             (" user add Secret\n", "Secret"),
                             ("find Secret\n", "Secret"), ("find Secret\n", "Secret"),
                             ("\x1b[A\x1b[A\n", "MAIL"),
                             (f"db {self.folder}/n\t\n", f"{self.folder}/net\n"),
                             (f"plan {self.folder}/ci\t\n", "Plan: servers 1 to change")):
            self.assertRegex(shell.type(typed), shows)
        self.assertRegex(shell.type("server show North\t\t", r"> server show North$"),
                         r"\nNorth +North East\n")
        shell.type("\x03")
        shell.type("server delete Center\n", r"\[y/N\] ")
        self.assertIn("not confirmed", shell.type("n\n"))
        shell.type("apply -\n", "\n")
        while not self.is_locked():
            time.sleep(0.01)
        self.assertRegex(shell.type("\x03"), r"interrupted.*\n.*\[130\]> ")
        shell.type("\x04", "")
        self.assertEqual(shell.end(), 0)
        expected = ["server show Center", 'server show "North East"', "server show x\\ y\\\\z",
                    "server show 'it'\\''s'", "user show Nobody", "app set Center mail",
                    "find Secret", "app set Center mail", f"db {self.folder}/net",
                    f"plan {self.folder}/city.yaml", "server delete Center", "apply -"]
        expected = [*former, *expected][-1000:]
        self.assertEqual(self.history(), expected)
        self.assertEqual(os.stat(self.path(".local/state/nccadm/history")).st_mode & 0o777, 0o600)
        for options, kept in (["--no-history"], []), ([], ["info", "exit"]):
            shell = self.open_shell(*options)
            shell.type("\x1b[A" * bool(kept) + "\x03", r"\^C" + PROMPT)
            shell.type("info\n")
            shell.type("exit\n", "")
            self.assertEqual((shell.end(), self.history()), (0, [*expected, *kept][-1000:]))

    def test_a_batch_on_a_terminal_is_carried_out_at_its_end(self):
        revision = self.revision()
        shell = self.open_shell("--batch")
        shell.type("server add A\n")
        shell.type("server add B\n")
        self.assertEqual(self.revision(), revision)
        shell.type("\x04", "2 commands carried out")
        self.assertEqual((shell.end(), self.revision()), (0, revision + 1))
        shell = self.open_shell("--batch")
        shell.type("server add C\n")
        shell.type("\x03", "nothing was changed")
        self.assertEqual((shell.end(), self.revision()), (130, revision + 1))

    def test_a_program_can_hold_a_dialogue_and_an_interrupt_ends_it(self):
        self.apply_city()
        shell = subprocess.Popen([tool(), "shell", "--keep-going", "--wait", "60"], bufsize=0,
                                 env=self.environment(), stdin=subprocess.PIPE,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 start_new_session=True)
        shell.stdin.write(b"server list --json\n")
        while shell.stdout.readline() != b"}\n":
            pass
        with self.locked():
            shell.stdin.write(b"server add X\nserver add Y\nserver add Z\n")
            self.assertIn(b"Waiting", shell.stderr.readline())
            with open(f"/proc/{shell.pid}/task/{shell.pid}/children", "rb") as children:
                os.kill(int(children.read()), signal.SIGKILL)
            self.assertIn(b"ended by signal 9", shell.stderr.readline())
            self.assertIn(b"Waiting", shell.stderr.readline())
            os.killpg(shell.pid, signal.SIGINT)
            out, err = shell.communicate(timeout=60)
        self.assertEqual((shell.returncode, out), (130, b""), err)
        for part in (b"interrupted", b"line 3 ended with exit code 130"):
            self.assertIn(part, err)
        self.assertEqual(len(self.json("server", "list")["servers"]), 3)


if __name__ == "__main__":
    main()
