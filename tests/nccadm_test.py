"""Drives nccadm as a process. Usage: nccadm_test.py NCCADM"""

import ctypes
import json
import os
import pty
import random
import signal
import subprocess
import sys
import time

from nccadm_tool import ToolTest, main, tool


class ProcessTest(ToolTest):
    def test_check_finds_what_other_programs_left(self):
        self.apply_city()
        self.ok("user", "add", "Boris")
        self.change_by_program(b"Boris", b"Bo\nris")
        document = json.loads(self.refused("check", "--json", code=3)[0])
        found = {check["check"]: [row["name"] for row in check["objects"]]
                 for check in document["checks"]}
        self.assertEqual((found["names-with-control-characters"],
                          found["identifiers-not-below-the-next"]), (["Bo\nris"], ["Bo\nris"]))

    def change_by_program(self, old, new):
        """As other programs do that use the library: they take any name, and turn counters back."""
        library = ctypes.CDLL(os.path.join(os.path.dirname(tool()), "../../libnccnet.so"))
        net = ctypes.create_string_buffer(4096)
        library._ZN7CNCCNetC1EPFlPvS0_ES0_(net, None, None)
        library._ZN7CNCCNet4OpenEPKcS1_(net, f"{self.folder}/".encode(), b"net")
        preferences = library._ZN7CNCCNet11PreferencesEv
        preferences.restype = ctypes.POINTER(ctypes.c_uint32)
        preferences(net)[1] -= 1  # next_id
        library._ZN7CNCCNet8ModifyABEPKcS1_(net, old, new)
        library._ZN7CNCCNetD1Ev(net)

    def hold(self, *command):
        """A command that has stored its change and waits, the database open, for a full pipe."""
        ends = os.pipe()
        self.addCleanup(os.close, ends[0])
        os.set_blocking(ends[1], False)
        try:
            while True:
                os.write(ends[1], b"x" * 512)
        except BlockingIOError:
            os.set_blocking(ends[1], True)
        revision = self.revision()
        process = subprocess.Popen([tool(), *command], env=self.environment(), stdout=ends[1],
                                   stderr=subprocess.DEVNULL)
        os.close(ends[1])
        while self.revision() == revision:
            time.sleep(0.01)
        def end():
            process.kill()
            process.wait()
        self.addCleanup(end)
        return process.pid, end

    def test_a_database_in_use_is_waited_for_and_read_beside_its_owner(self):
        self.apply_city()
        holder, end = self.hold("server", "add", "Last")
        for command in (["server", "add", "X"], ["backup", self.path("copy.db")],
                        ["server", "add", "X", "--wait", "1"]):
            self.refused(*command, code=6,
                         says=["in use", f"process {holder} (", "server add Last", "--wait"])
        for command in ("info", "tree", "dump", "check", "plan"):
            arguments = [self.path("city.yaml")] if command == "plan" else []
            _, out, err = self.run_tool(command, *arguments)
            self.assertIn(f"in use by process {holder}", err)
            self.assertIn("this is its revision 3.", err)
        self.assertEqual(len(self.json("server", "list")["servers"]), 4)
        self.refused("user", "memberships", "Nobody", says="no user")
        end()
        code, _, err = self.run_tool("info")
        self.assertEqual((code, err), (0, ""))
        self.ok("server", "add", "X")
        loop = 'for i in $(seq 20); do "$0" -q user add --wait 60 $1$i || exit 1; done'
        loops = [subprocess.Popen(["bash", "-c", loop, tool(), name], env=self.environment(),
                                  stdout=subprocess.DEVNULL) for name in ("A", "B")]
        self.assertEqual([loop.wait(timeout=300) for loop in loops], [0, 0])
        self.assertEqual(len(self.json("user", "list")["users"]), 40)

    def test_what_is_lost_is_said_and_a_copy_brings_it_back(self):
        self.apply_city()
        copy = self.path("backup of the city")
        self.ok("backup", copy)
        kept = self.ok("dump")
        _, end = self.hold("server", "add", "Last")
        end()
        os.remove(self.db + ".db-wal")
        for command in (["info"], ["server", "add", "X"]):
            self.refused(*command, says=["last changes after revision", "may be lost", "--yes",
                                         "nccadm restore BACKUP"])
        self.refused("restore", copy, says=["would be replaced by revision", "--yes"])
        self.assertIn("may be lost", self.run_tool("info", "--yes")[2])
        self.ok("server", "add", "X", "--yes")
        self.ok("info")
        with open(self.db + ".db", "rb") as data:
            damaged = data.read().replace(b"Ivanov", b"Iwanow")
        self.write("net.db", damaged)
        self.refused("tree", says=["database is damaged", f"nccadm --db {self.db} restore BACKUP"])
        self.refused("restore", self.write("none.db", "no copy"), "--yes", says="cannot be used")
        restored = self.json("restore", copy, "--yes")
        self.assertEqual(restored["restored"]["revision"], 2)
        self.assertEqual(self.ok("dump"), kept)
        with open(restored["kept"], "rb") as data:
            self.assertEqual(data.read(), damaged)
        self.db = self.path("new")
        self.assertIsNone(self.json("restore", copy)["kept"])
        self.assertEqual(self.ok("dump"), kept)

    def test_results_that_cannot_be_written_are_noticed(self):
        self.apply_city()
        with open("/dev/full", "wb") as full:
            for arguments in (["dump"], ["tree"], ["--help"], ["info", "--json"]):
                code, _, err = self.run_tool(*arguments, stdout=full)
                self.assertEqual((code, "could not be written" in err), (1, True), arguments)
        shell = lambda script: subprocess.run(["bash", "-c", script, tool()], capture_output=True,
                                              env=self.environment(), timeout=60)
        self.assertEqual(shell('"$0" dump >&-').returncode, 1)
        quiet = shell('"$0" server add Quiet >&- 2>&- <&-; "$0" dump | grep -c Quiet')
        self.assertEqual(quiet.stdout, b"1\n")
        servers = "".join(f"  - S{i}\n" for i in range(9000))
        self.write("big.yaml", "network: 26\nservers:\n" + servers)
        self.ok("apply", self.path("big.yaml"))
        # Who reads on does not have to.
        head = shell('"$0" tree | head -1; exit ${PIPESTATUS[0]}')
        self.assertEqual((head.returncode, head.stderr), (0, b""))

    def test_interrupted_commands_say_so_in_one_line_and_one_document(self):
        self.apply_city()
        for ask in (["apply", "-"], ["--json", "apply", "-"]):
            process = subprocess.Popen([tool(), *ask], env=self.environment(), text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE)
            # It waits for its input as soon as it has the database.
            while not self.is_locked():
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            process.wait(timeout=60)  # before its input ends
            out, err = process.communicate()
            self.assertEqual((process.returncode, err.count("\n")), (130, 1), err)
            self.assertEqual([json.loads(part)["error"]["code"] for part in [out] if part],
                             [130] * ("--json" in ask))

    def test_an_interrupted_apply_changes_all_or_nothing(self):
        aps = "".join(f"    - P{i}\n" for i in range(20000))
        file = self.write("big.yaml", "network: 26\nservers:\n- name: A\n  aps:\n" + aps)
        for delay in (0.05, 0.15, 0.25, 0.35):
            process = subprocess.Popen([tool(), "apply", file], env=self.environment(),
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            self.await_handler(process, signal.SIGINT)
            time.sleep(delay)
            process.send_signal(signal.SIGINT)
            code = process.wait(timeout=60)
            self.assertIn(code, (0, 130))
            aps = self.json("info")["objects"]["aps"]
            self.assertIn(aps, (20000,) if code == 0 else (0, 20000))
            if aps != 0:
                break
        # What a list holds is written as it is found and not kept.
        self.ok("apply", file)
        few, many = (self.memory("--json", *ask) for ask in (("server", "list"), ("ap", "list")))
        self.assertLess(many - few, 20000 * 1000)
        # An interrupted list is whole however slow its reader is, unless it is interrupted again.
        for again in (False, True):
            process = subprocess.Popen([tool(), "--json", "ap", "list"], env=self.environment(),
                                       stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            start = process.stdout.read(1)
            time.sleep(0.5)  # until it waits for room
            process.send_signal(signal.SIGINT)
            time.sleep(1.5)
            if again:
                process.send_signal(signal.SIGINT)
                process.wait(timeout=60)
            out = start + process.communicate()[0]
            self.assertEqual(process.returncode, 130)
            if not again:
                self.assertEqual(json.loads(out)["error"]["code"], 130)

    def await_handler(self, process, number):
        """Until the process waits for a signal: before, it dies of it as any program does."""
        while process.poll() is None:
            with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
                blocked = next((line for line in status if line.startswith("SigBlk:")), ": 0")
            if int(blocked.split()[1], 16) >> (number - 1) & 1:
                return
            time.sleep(0.002)

    def memory(self, *arguments):
        """How many bytes the tool takes at most."""
        process = subprocess.Popen([tool(), *arguments], env=self.environment(),
                                   stdout=subprocess.DEVNULL)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 0)
        return used.ru_maxrss * 1024

    def on_terminal(self, *arguments, answer="", extra=None):
        """Runs with every stream on one terminal; gives the exit code and all that was shown."""
        pid, terminal = pty.fork()
        if pid == 0:
            os.execve(tool(), [tool(), *arguments], {**self.environment(), **(extra or {})})
        os.write(terminal, answer.encode())
        shown = b""
        while True:
            try:
                part = os.read(terminal, 4096)
            except OSError:
                break
            if not part:
                break
            shown += part
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), shown.decode()

    def test_terminals_get_questions_and_colours_and_others_do_not(self):
        self.apply_city()
        self.refused("server", "delete", "North", says=["1 AP", "--yes"])
        code, shown = self.on_terminal("server", "delete", "North", answer="n\n")
        self.assertEqual((code, "Go on? [y/N]" in shown), (1, True))
        code, _ = self.on_terminal("server", "delete", "North", answer="y\n")
        self.assertEqual(code, 0)
        self.ok("server", "delete", "Center", "--yes")
        self.assertEqual(self.json("server", "list")["servers"][0]["name"], "South")
        self.assertEqual(self.json("ap", "list")["aps"], [])
        self.assertIn("\x1b[", self.on_terminal("server", "list")[1])
        self.assertNotIn("\x1b[", self.on_terminal("server", "list", extra={"NO_COLOR": "1"})[1])
        self.assertNotIn("\x1b[", self.on_terminal("server", "list", "--json")[1])
        self.assertNotIn("\x1b[", self.ok("server", "list"))
        self.assertIn("\x1b[", self.ok("server", "list", "--color", "always"))

    def test_every_command_has_an_example_and_is_completed(self):
        def commands(path):
            text = self.ok(*path, "--help")
            if "Subcommands:" not in text:
                self.assertIn("Example:\n  nccadm ", text, path)
                return 1
            words = self.ok("complete", "--", " ".join(["nccadm", *path, ""])).split()[1:]
            for word in words:
                self.assertRegex(text, rf"\n  {word} ")
            return sum(commands([*path, word]) for word in words)
        self.assertGreater(commands([]), 70)

    def test_the_largest_research_networks_read_each_other(self):
        path = os.path.dirname(tool()) + os.pathsep + os.environ["PATH"]
        example = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                               "../examples/research_networks/exchange.py")
        done = subprocess.run([sys.executable, example, self.path("demo")], text=True, timeout=120,
                              env={**os.environ, "PATH": path}, stdout=subprocess.PIPE, check=True)
        self.assertEqual(done.stdout, "SigmaNet reads ULAKBIM: 79 of 79 nodes, 0 different\n"
                                      "ULAKBIM reads SigmaNet: 68 of 68 nodes, 0 different\n")

    def test_identical_files_share_storage_and_a_stopped_run_says_what_is_done(self):
        self.ok("keygen", self.path("key"))
        out = self.path("out")
        aps = "".join(f"    - P{i}\n" for i in range(3000))
        users = "".join(f"  - {{name: U{i:050}, deps: [D], memberships: [{{dep: D, node: A}}]}}\n"
                        for i in range(900))
        self.ok("apply", self.write("big.yaml", f"network: 26\nservers:\n- name: A\n  aps:\n{aps}"
                                    f"groups: [{{name: G, nodes: [A], deps: [D]}}]\ndeps: [D]\n"
                                    f"users:\n{users}"))
        apdb = ["generate", "apdb", "--out", out, "--only", "P1", "P2"]
        self.assertEqual(self.json(*apdb)["shared"], 1)
        self.assertEqual(self.json(*apdb, "--no-share")["shared"], 0)
        read = lambda: subprocess.run(["find", out, "-type", "f", "-exec", "cksum", "{}", ";"],
                                      capture_output=True, check=True).stdout
        before = read()
        directories = os.path.join(out, ".nccadm-new/set/APDB/A")
        process = subprocess.Popen([tool(), "generate", "all", "--out", out, "--json"],
                                   env=self.environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + 60
        while not os.path.exists(f"{directories}/apa0BB8.txt") and time.monotonic() < deadline:
            time.sleep(0.002)
        process.send_signal(signal.SIGTERM)
        run = json.loads(process.communicate(timeout=60)[0])
        self.assertEqual((process.returncode, run["interrupted"]), (130, True))
        states = [step["state"] for step in run["steps"]]
        done = states.count("done")  # the signal comes a little later on a busy machine
        self.assertEqual(states, ["done"] * done + ["stopped"] + ["not begun"] * (3 - done))
        self.assertGreaterEqual(run["files"], 2990)
        self.assertEqual(read(), before)

    def test_runs_of_what_changed_that_are_killed_anywhere_lose_nothing(self):
        self.ok("keygen", self.path("key"))
        self.apply_city()
        out, full = self.path("out"), self.path("full")
        changed = ["generate", "all", "--out", out, "--changed"]
        self.ok("generate", "all", "--out", out)
        seed = int(time.time())
        random.seed(seed)
        for number in range(20):
            self.ok("ap", "add", "Center", f"New{number}")
            if number % 3 == 2:
                self.ok("ap", "delete", f"New{number - 1}", "--yes")
            process = subprocess.Popen([tool(), *changed], env=self.environment(),
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(random.random() * 0.2)
            process.kill()
            process.wait()
        self.ok(*changed)
        self.ok("generate", "all", "--out", full)
        differ = subprocess.run(["diff", "-r", "-x", ".nccadm-manifest", "-x", "newfiles.dat", out,
                                 full], capture_output=True, text=True, check=False)
        self.assertEqual((differ.returncode, differ.stdout), (0, ""), f"seed {seed}")
        self.assertEqual(self.json(*changed, "--dry-run", "--verify")["changes"], [])

    def test_a_dry_run_tells_the_files_that_the_next_run_makes(self):
        self.ok("keygen", self.path("key"))
        self.apply_city()
        out = self.path("out")
        generate = ["generate", "all", "--out", out, "--mode", "3", "--short"]
        self.ok(*generate)
        described = self.ok("dump").replace("North", "Far North")
        plan = ["plan", self.write("far.yaml", described), "--prune"]
        batch = self.write("batch", "user add Boris\nserver add East\nap add East Gate\n")
        shown = 0
        for ask, do in ((["ap", "add", "Center", "Post"], None),
                        (["ap", "move", "Post", "North"], None),
                        (["app", "set", "Post", "--add", "kc"], None), (["batch", batch], None),
                        (["undo"], None), (plan, ["apply", *plan[1:], "--force"]),
                        (["server", "delete", "Center", "--yes"], None)):
            dry = ask if do else [*ask, "--dry-run"]
            code, text, _ = self.run_tool("--json", *dry, "--files", out)
            self.assertEqual(code, 4, ask)
            self.ok(*(do or ask))
            done = self.json(*generate, "--changed")["changes"]
            told = json.loads(text)["files"]["changes"]
            by_path = lambda all_: sorted((c["file"], c["change"], c["bytes"]) for c in all_)
            self.assertEqual(by_path(told), by_path(done), ask)
            shown += len(told)
        self.assertGreater(shown, 100)


if __name__ == "__main__":
    main()
