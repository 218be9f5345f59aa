"""What shells complete. Usage: completion_test.py NCCADM"""

import os
import re
import shutil
import subprocess

from nccadm_tool import Terminal, ToolTest, main, tool

# Each goes on from all but its last letter in one way only.
NAMES = ["North East", "it's", 'a"b', "x$y", "x y\\z", "A:B1", "A:C1", "*5", "~h", "#r", "`w`",
         "A=1", "[a]", "Юг К"]


class CompletionTest(ToolTest):
    def environment(self):
        path = os.path.dirname(tool()) + os.pathsep + os.environ["PATH"]
        return {**super().environment(), "PATH": path, "LC_ALL": "C.UTF-8", "TERM": "dumb",
                "HOME": self.folder, "XDG_CONFIG_HOME": self.folder}

    def add_names(self):
        self.apply_city()
        commands = "".join("server add -- '{}'\n".format(name.replace("'", "'\\''"))
                           for name in NAMES)
        self.ok("batch", "-", text=commands)

    def script(self, shell):
        if not shutil.which(shell):
            self.skipTest(f"{shell} IS NOT INSTALLED; its completion is not tested")
        file = self.write(f"completion.{shell}", self.ok("completion", shell))
        subprocess.run([shell, "-n", file], check=True)
        return file

    def complete_everything(self, shell, *options, begin=""):
        """Types each name but for its last letter, in all ways of quoting, and the tabulator."""
        self.add_names()
        terminal = Terminal([shell, *options], self.environment())
        terminal.type(f"PS1='$'' '; {begin}. {self.script(shell)}\n", r"\n *\$ $")
        for name in NAMES:
            start = name[:-1]
            for typed in (re.sub(r"(\W)", r"\\\1", start),
                          '"' + re.sub(r'(["\\$`])', r"\\\1", start),
                          "'" + start.replace("'", "'\\''")):
                shown = terminal.type(f"nccadm server show {typed}\t\n", r"\n *\$ $")
                self.assertRegex(shown, rf"\nname +{re.escape(name)}\n", f"{shell}: {typed}")
        return terminal

    def test_names_are_completed_in_bash(self):
        terminal = self.complete_everything("bash", "--norc", "-i")
        terminal.type("true; nccadm --json server show A:\t\t", r"\nB1 +C1")
        terminal.type("\x03", r"\n *\$ $")
        shown = terminal.type(f"nccadm plan {self.folder}/ci\t\n", r"\n *\$ $")
        self.assertIn("nothing to do", shown)

    def test_names_are_completed_in_zsh(self):
        self.complete_everything("zsh", "-f", "-i", "-o", "no_prompt_sp",
                                 begin="autoload compinit; compinit -u -D; ")

    def test_names_are_completed_in_fish(self):
        self.add_names()
        def complete(line):
            ask = "source $argv[1]; complete -C $argv[2]"
            done = subprocess.run(["fish", "-c", ask, self.script("fish"), line], timeout=60,
                                  env=self.environment(), capture_output=True, check=True)
            return done.stdout.decode().splitlines()
        self.assertLessEqual(set(NAMES), set(complete("nccadm server show ")))
        self.assertEqual(complete("nccadm server show 'North E"), ["North East"])
        self.assertEqual(complete("true; nccadm serv"), ["server"])
        self.assertEqual(complete(f"nccadm plan {self.folder}/ci"), [f"{self.folder}/city.yaml"])

    def test_completion_is_silent_and_reads_beside_an_owner(self):
        self.apply_city()
        ask = ["complete", "--", "nccadm server show N"]
        with self.locked():
            self.assertEqual(self.run_tool(*ask), (0, "words\nNorth\n", ""))
        self.db = self.path("none")
        self.assertEqual(self.run_tool(*ask), (0, "words\n", ""))
        self.write("none.db", "no database")
        self.assertEqual(self.run_tool(*ask), (0, "words\n", ""))
        self.db = self.folder + "/"
        self.assertEqual(self.run_tool(*ask), (1, "", ""))


if __name__ == "__main__":
    main()
