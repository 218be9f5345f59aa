"""What nccadm generates and what it reads back of it. Usage: nccadm_output_test.py NCCADM"""

import fcntl
import json
import os
import resource
import shutil
import signal
import struct
import subprocess
import time

from nccadm_tool import ToolTest, main, tool

LONG = "Ж" * 50
NETWORK = f"""network: 0x1A
servers:
  - name: Center
    applications: [ncc]
    links: [North, {LONG}a]
    aps: [Ivanov, {LONG}b]
  - {{name: North, value: 77, aps: [{{name: Petrov, applications: [kc]}}]}}
  - {LONG}a
groups: [{{name: All, nodes: [Center, North, Ivanov, Petrov], deps: [Office]}}]
deps: [Office]
users:
  - {{name: Anna, deps: [Office], memberships: [{{dep: Office, node: Ivanov}}]}}
"""


class OutputTest(ToolTest):
    def setUp(self):
        self.key = ""
        super().setUp()
        self.out = self.path("out")

    def environment(self):
        return {**super().environment(), "NCCNET_STAMP_KEY": self.key}

    def use_key(self):
        self.key = self.path("key")
        self.ok("keygen", self.key)

    def build(self):
        self.use_key()
        self.ok("apply", self.write("net.yaml", NETWORK))
        return self.json("generate", "all", "--out", self.out)

    def read(self, *path):
        with open(os.path.join(self.out, *path), "rb") as file:
            return file.read()

    def tree(self, out=None):
        """Every file of an output folder with its bytes."""
        files = {}
        for folder, _, names in os.walk(out or self.out):
            for name in names:
                path = os.path.join(folder, name)
                files[os.path.relpath(path, out or self.out)] = self.read(path)
        return files

    def check_expected(self, run):
        """What was said to come is within a hundredth of what came."""
        self.assertEqual(run["expected"]["files"], run["files"])
        self.assertAlmostEqual(run["expected"]["bytes"] / run["bytes"], 1, delta=0.01)

    def wrong(self):
        """What is wrong with which file."""
        code, out, _ = self.run_tool("--json", "verify-stamps", self.out)
        wrong = [(one["in"], one["file"], one["problem"]) for one in json.loads(out)["wrong"]]
        self.assertEqual(code, 3 if wrong else 0)
        return wrong

    def test_a_full_run_has_every_file_and_right_stamps_wherever_it_is_started(self):
        run = self.build()
        self.assertEqual([(s["step"], s["state"], s["files"]) for s in run["steps"]],
                         [("apdb", "done", 24), ("routes", "done", 9), ("map", "done", 9),
                          ("kc", "done", 6 + 1 + 3 + 6)])
        on_disk = [os.path.join(self.out, name) for name in self.tree()
                   if name not in (".nccadm", "newfiles.dat")]
        self.assertEqual((run["files"], run["failed"]), (len(on_disk), []))
        self.assertEqual(run["bytes"], sum(map(os.path.getsize, on_disk)))
        self.check_expected(run)
        self.assertFalse([path for path in on_disk if os.stat(path).st_mode & 0o077])
        self.assertEqual(self.wrong(), [])
        # Packages hold what stands under the database's folder and the folder of the run.
        self.write("ipkeladr.doc", "keys")
        self.key, self.db = "key", "net"
        code, out, _ = self.run_tool("--json", "generate", "all", "--out", "out", "--short",
                                     cwd=self.folder)
        self.check_expected(json.loads(out))
        self.key, self.db = self.path("key"), self.path("net")
        packed = self.json("package", "list", self.path("out/KC/AAA/001A0001.aas"))["files"]
        self.assertEqual([one["name"] for one in packed],
                         ["NODE1.MAP", "NODE1.REG", "NODE1.TUN", "NMATRIX.DAT", "APA0001.TXT",
                          "APN0001.CRG", "APN0001.TXT", "IPKELADR.DOC"])
        self.assertEqual(self.wrong(), [])

    def test_some_nodes_are_brought_up_to_date_with_right_stamps(self):
        self.build()
        kept = self.read("APDB", "N", "apn0006.txt")
        os.truncate(os.path.join(self.out, "KC/AAA/001A0001.aaf"), 100000)  # of a larger run before
        self.ok("server", "link", "North", LONG + "a")
        self.ok("ap", "add", "Center", "New")
        self.ok("generate", "all", "--out", self.out, "--only", "Center", "New")
        self.assertEqual(self.read("APDB", "N", "apn0006.txt"), kept)
        self.assertEqual(self.read("APDB", "T", "node000A.tun"), b"")
        self.assertLess(len(self.read("KC", "AAA", "001A0001.aaf")), 100000)
        # Maps are made for all servers; the lists of the others are of those before.
        self.assertEqual({one[0] for one in self.wrong()}, {"MAP/apn0002.crg", "MAP/apn0003.crg"})
        self.ok("generate", "map", "--out", self.out, "--only", "North", "id:3", "id:3")
        self.assertEqual(self.wrong(), [])
        for command, name, says in (("apdb", "North", "no AP"), ("map", "Petrov", "no server")):
            self.refused("generate", command, "--out", self.out, "--only", name, says=says)

    def test_without_a_key_nothing_is_made_unless_zeros_are_asked_for(self):
        self.build()
        key, before = self.key, self.tree()
        self.write("short", b"x" * 31)
        self.write("open", b"x" * 32)
        os.chmod(self.path("short"), 0o600)
        os.chmod(self.path("open"), 0o644)
        for self.key, why in (("", "is not set"), (self.path("none"), "cannot be read"),
                              (self.path("short"), "31 bytes"), (self.path("open"), "chmod 600")):
            for command in (["verify-stamps", self.folder], ["stamp", self.db + ".db"],
                            ["generate", "routes", "--out", self.out],
                            ["generate", "kc", "--out", self.out]):
                self.refused(*command, says=[why, "keygen", "--key FILE"])
        self.assertEqual(self.tree(), before)
        self.ok("generate", "all", "--out", self.out, "--key", key)
        self.ok("verify-stamps", self.out, "--key", key)
        self.key = key
        _, err = self.refused("-q", "generate", "routes", "--out", self.out, "--unstamped", code=0)
        self.assertIn("ALL STAMPS ARE ZERO", err)
        self.assertIn(b"MAPCRC=00000000\r\nXNWCRC=00000000", self.read("MAP", "node1.reg"))
        self.assertEqual(os.stat(self.key).st_mode & 0o777, 0o600)
        self.refused("keygen", self.key, says="exists")
        self.assertGreaterEqual(len(self.wrong()), 3 * 4)

    def test_wrong_stamps_are_told_file_by_file(self):
        self.build()
        name = os.path.join(self.out, "MAP", "node1.map")
        line = self.ok("stamp", name)
        self.assertIn(line.strip().encode() + b"\r\n", self.read("MAP", "apn0001.crg"))
        cases = [
            ("APDB/A/apa0004.txt", lambda b: b + b" ",
             [("APDB/R/apn0004.crg", "APA0004.TXT", "differs")]),
            ("APDB/N/apn0004.txt", None, [("APDB/R/apn0004.crg", "APN0004.TXT", "missing")]),
            ("APDB/R/apn0004.crg", lambda b: b.replace(b"=", b"=F", 1)[:-3] + b"\r\n",
             [("APDB/R/apn0004.crg", "apn0004.crg", "malformed")] * 2),
            ("APDB/R/apn0004.crg", lambda b: b[:b.index(b"APN0004.CRG")],
             [("APDB/R/apn0004.crg", "apn0004.crg", "malformed")]),
            ("APDB/R/apn0004.crg", lambda b: b"../../KEY=00000000\r\n" + b,
             [("APDB/R/apn0004.crg", "apn0004.crg", "malformed"),
              ("APDB/R/apn0004.crg", "apn0004.crg", "differs")]),
            ("MAP/node1.reg", lambda b: b.replace(b"TCPIP=1", b"TCPIP=2"),
             [("MAP/node1.reg", "node1.reg", "differs")]),
            ("MAP/node1.reg", lambda b: b[:b.index(b"TUNCRC")],
             [("MAP/node1.reg", "node1.reg", "malformed")]),
            ("MAP/node1.tun", lambda b: b.replace(b" 77", b" 78"),
             [("MAP/apn0001.crg", "NODE1.TUN", "differs"),
              ("MAP/node1.reg", "node1.tun", "differs"),
              ("MAP/node1.tun", "node1.tun", "differs")]),
            ("MAP/node2.xnw", lambda b: b"later", [("MAP/node2.reg", "node2.xnw", "unstamped")]),
        ]
        for path, change, expected in cases:
            with self.subTest(path=path, expected=expected):
                path = os.path.join(self.out, path)
                before = self.read(path) if os.path.exists(path) else None
                os.remove(path) if change is None else self.write(path, change(before or b""))
                self.assertEqual(self.wrong(), expected)
                os.remove(path) if before is None else self.write(path, before)
        self.refused("verify-stamps", self.path("none"), says="no folder")
        self.refused("verify-stamps", os.path.join(self.out, "KC"), says="no stamps")

    def test_packages_are_read_and_hostile_ones_refused(self):
        self.build()
        package = os.path.join(self.out, "KC", "AAA", "001A0004.aaf")
        into = self.path("into")
        self.ok("package", "extract", package, "--out", into)
        self.assertEqual(self.read(into, "APN0004.TXT"), self.read("APDB", "N", "apn0004.txt"))
        self.refused("package", "extract", package, "--out", into, says=["exists", "--force"])
        self.ok("package", "extract", package, "--out", into, "--force")
        self.ok("verify-stamps", into)
        # A list proves what it names; without a key nothing is proved.
        checked = self.json("package", "check", package)
        self.assertEqual((checked["files"], checked["proved"], checked["unproved"]),
                         (8, 6, ["APC0004.TXT", "APN0004.CRC"]))
        key, self.key = self.key, ""
        _, err = self.refused("package", "check", package, code=5, says="form right, 0 of 8 files")
        self.assertNotIn("all right", err)
        self.key = key
        whole = self.read(package)
        record = lambda name, data=b"x", length=None: struct.pack(
            "<I", len(data) if length is None else length) + name.ljust(12) + b"\0" + data
        cases = [
            (whole[:-1], "damaged at byte"),
            (whole[:9], "damaged at byte 4: 12 bytes should follow, 5 do"),
            (record(b"A", length=0xFFFFFFFF), "4294967295 bytes should follow, 1 do"),
            (record(b"../../evil"), "another folder"), (record(b"..\\evil"), "another folder"),
            (record(b".."), "means a folder"), (record(b""), "is empty"),
            (record(b"A\x1b[31m"), "plain ASCII"), (record(b"A") * 2, "twice"),
            (record(b"A")[:16] + b"Xx", "does not end in a zero"),
            (record(b"PIPE"), "no plain file")]
        os.mkfifo(os.path.join(into, "PIPE"))
        before = sorted(os.listdir(into))
        for data, says in cases:
            with self.subTest(says=says):
                bad = self.write("bad.aaf", data)
                self.refused("package", "extract", bad, "--out", into, "--force", says=says)
                if says != "no plain file":
                    self.assertIn(says, self.run_tool("package", "check", bad)[1])
        self.assertEqual(sorted(os.listdir(into)), before)
        changed = self.write("bad.aaf", whole.replace(b"Anna", b"Hans"))
        self.assertIn("APA0004.TXT differs", self.refused("package", "check", changed, code=3)[0])

    def test_maps_are_shown_with_the_overrun_of_long_names(self):
        self.build()
        file = os.path.join(self.out, "MAP", "node1.map")
        shown = self.json("show-map", file)
        self.assertEqual((shown["network"], shown["servers_in_network"]), (0x1A, 3))
        self.assertEqual(shown["server"]["address"], "00010000")
        self.assertEqual([(one["name"], one["address"]) for one in shown["aps"]],
                         [("Ivanov", "00010004"), (LONG + "b", "00010005")])
        self.assertEqual([(one["name"], one["name_length"]) for one in shown["links"]],
                         [("North", 5), (LONG, 51)])
        self.assertIn("1 of the names lost", self.ok("show-map", file))
        whole = self.read(file)
        for length in list(range(0, len(whole), 7)) + [len(whole) - 1]:
            self.refused("show-map", self.write("bad.map", whole[:length]))
        for at, byte, says in ((0, 88, "NAMS.MAP"), (8, 3, "version"), (32, 255, "damaged"),
                               (36, 9, "kind 9"), (48, 52, "52 bytes"), (36, 0, "should stand"),
                               (36 + 63 * 2, 1, "should"), (len(whole) - 1, 9, "twice")):
            bad = self.write("bad.map", whole[:at] + bytes([byte]) + whole[at + 1:])
            self.refused("show-map", bad, says=says)

    def test_the_journal_is_listed_applied_and_cleared(self):
        self.build()
        names = [one["name"] for one in self.json("journal", "list", "--dir", self.out)["records"]]
        self.assertEqual(names[:4], ["apn0004.crg", "apn0005.crg", "apn0006.crg", "node1.reg"])
        self.write("out/NEW/MAP/node1.map", "staged")
        self.write("out/NEW/ABONAME.TXT", "names")
        self.write("out/newfiles.dat", self.read("newfiles.dat") + b"ABONAME.TXT\0\0\1\0\0\0")
        os.makedirs(os.path.join(self.out, "NEW/MAP/node1.reg"))  # cannot be copied
        code, out, err = self.run_tool("--json", "journal", "apply", "--dir", "out", "--export",
                                       "out/KC", cwd=self.folder)
        told = json.loads(out)
        self.assertEqual((code, told["copied"]), (5, [f"{self.out}/KC/ABONAME.TXT",
                                                      "MAP/node1.map"]))
        self.assertEqual([one["file"] for one in told["failed"]], ["MAP/node1.reg"])
        self.assertIn("NEW/MAP/node1.tun", told["missing"])
        self.assertEqual(len(told["missing"]), 6 * 6 + 3 * 3 - 2)  # nobody has to make .xnw
        self.assertIn("Copied 2 files; 43 were not in NEW, 0 names have no place, 1 failed.", err)
        self.assertEqual(self.read("MAP", "node1.map"), b"staged")
        self.assertEqual(self.read("KC", "ABONAME.TXT"), b"names")
        self.write("out/newfiles.dat", b"cut")
        for command in ("list", "apply"):
            self.refused("journal", command, "--dir", self.out, says="damaged at byte 0")
        self.ok("journal", "clear", "--dir", self.out)
        self.refused("journal", "list", "--dir", self.out, says="no journal")

    def test_the_old_files_stay_until_every_new_one_is_there(self):
        self.use_key()
        network = NETWORK.replace("value: 77", "value: 0").replace("[ncc]", "[ncc]\n    value: 0")
        self.ok("apply", self.write("net.yaml", network.replace(
            f"  - {LONG}a", f"  - {{name: {LONG}a, value: 0}}")))
        self.ok("generate", "all", "--out", self.out)  # no tunnels are no failure
        before = self.tree()
        folder = os.open(self.out, os.O_RDONLY)
        fcntl.flock(folder, fcntl.LOCK_EX)
        self.refused("generate", "all", "--out", self.out, says="another run")
        os.close(folder)
        self.ok("ap", "add", "Center", "New")
        with open(self.path("ipkeladr.doc"), "wb") as keys:
            keys.truncate(8 << 20)
        done = subprocess.run(  # the packages do not fit
            [tool(), "--json", "generate", "all", "--out", self.out], env=self.environment(),
            capture_output=True, restore_signals=False,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (4 << 20, 4 << 20)))
        run = json.loads(done.stdout)
        self.assertEqual((done.returncode, run["in_place"], len(run["failed"])), (1, False, 7))
        self.assertIn(b"KC/AAA/001A000A.aaf", done.stderr)
        self.assertEqual(self.tree(), before)
        # No disk has this room.
        os.truncate(self.path("ipkeladr.doc"), 4 << 40)
        self.refused("generate", "packages", "--out", self.out, says=["no room", "(28672.0 GiB)"])
        os.remove(self.path("ipkeladr.doc"))
        os.makedirs(os.path.join(self.out, "KC/NODENAME.DOC.d"))
        os.rename(os.path.join(self.out, "KC/NODENAME.DOC"), self.path("names"))
        os.makedirs(os.path.join(self.out, "KC/NODENAME.DOC"))
        self.refused("generate", "kc", "--out", self.out, says="KC/NODENAME.DOC stands where")
        os.rmdir(os.path.join(self.out, "KC/NODENAME.DOC"))
        self.ok("generate", "kc", "--out", self.out)
        self.assertTrue(os.path.isdir(os.path.join(self.out, "KC/NODENAME.DOC.d")))
        self.refused("generate", "packages", "--out", self.path("none"), says="generate all")
        self.refused("generate", "all", "--mode", "256", code=2)

    def test_only_folders_with_a_marker_are_replaced(self):
        self.use_key()
        self.ok("apply", self.write("net.yaml", NETWORK))
        os.makedirs(os.path.join(self.out, "KC"))
        os.makedirs(self.path("documents"))
        for letter in (self.write("out/KC/letter", "mine"), self.write("documents/letter", "mine")):
            os.symlink(letter, letter + ".link")
        self.refused("generate", "all", "--out", self.out, says=["/KC holds files", "--force"])
        self.ok("generate", "apdb", "--out", self.out)
        self.refused("generate", "kc", "--out", self.out, says="/KC holds files")
        self.assertEqual(self.read("KC", "letter"), b"mine")
        self.ok("generate", "kc", "--out", self.out, "--force")
        self.ok("generate", "kc", "--out", self.out)
        self.assertFalse(os.path.lexists(os.path.join(self.out, "KC/letter")))
        shutil.rmtree(os.path.join(self.out, "KC"))
        os.symlink(self.path("documents"), os.path.join(self.out, "KC"))
        self.refused("generate", "kc", "--out", self.out, "--force", says="is a link")
        self.assertEqual(sorted(os.listdir(self.path("documents"))), ["letter", "letter.link"])
        self.ok("--db", self.path("o/KC/net"), "init", "--network", "1")
        self.refused("--db", self.path("o/KC/net"), "generate", "all", "--out", self.path("o"),
                     says="would be replaced")

    def test_a_run_killed_while_placing_its_files_is_completed_by_the_next(self):
        self.build()
        self.ok("ap", "add", "Center", "New")
        whole = self.path("whole")
        shutil.copytree(self.out, whole)
        self.ok("generate", "all", "--out", whole)
        work = os.path.join(self.out, ".nccadm-new")
        self.ok("server", "show", "Center")
        shutil.copytree(whole, os.path.join(work, "set"))
        os.remove(os.path.join(work, "set/.nccadm"))
        folders = ("APDB", "KC", "MAP")
        inodes = [os.stat(os.path.join(work, "set", name)).st_ino for name in folders]
        live = lambda name: os.path.join(self.out, name)
        os.rename(live("APDB"), live("moved"))  # exchanged, and the old one not set aside yet
        os.rename(os.path.join(work, "set/APDB"), live("APDB"))
        os.rename(live("moved"), os.path.join(work, "set/APDB"))
        os.makedirs(os.path.join(work, "old"))
        os.rename(live("KC"), os.path.join(work, "old/1"))  # between two renames
        self.write(os.path.join(work, "placing"),
                   "".join(f"{inode} {name}\n" for inode, name in zip(inodes, folders)))
        _, err = self.refused("generate", "packages", "--out", self.out, "--only", "New", code=0,
                              says="Completed the run before")
        self.assertEqual(self.tree(), self.tree(whole))
        os.makedirs(os.path.join(work, "set/KC"))
        self.refused("generate", "routes", "--out", self.out, code=0, says="Removed what a run")
        self.assertFalse(os.path.exists(work))

    def test_identical_files_share_storage_and_a_stopped_run_says_what_is_done(self):
        self.use_key()
        aps = "".join(f"    - P{i}\n" for i in range(3000))
        users = "".join(f"  - {{name: U{i:050}, deps: [D], memberships: [{{dep: D, node: A}}]}}\n"
                        for i in range(900))
        self.ok("apply", self.write("big.yaml", f"network: 26\nservers:\n- name: A\n  aps:\n{aps}"
                                    f"groups: [{{name: G, nodes: [A], deps: [D]}}]\ndeps: [D]\n"
                                    f"users:\n{users}"))
        apdb = ["generate", "apdb", "--out", self.out, "--only", "P1", "P2"]
        self.assertEqual(self.json(*apdb)["shared"], 1)
        self.assertEqual(self.json(*apdb, "--no-share")["shared"], 0)
        before = self.tree()
        directories = os.path.join(self.out, ".nccadm-new/set/APDB/A")
        process = subprocess.Popen([tool(), "generate", "all", "--out", self.out, "--json"],
                                   env=self.environment(), stdout=subprocess.PIPE,
                                   stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + 60
        while not os.path.exists(f"{directories}/apa0BB8.txt") and time.monotonic() < deadline:
            time.sleep(0.002)
        process.send_signal(signal.SIGTERM)
        run = json.loads(process.communicate(timeout=60)[0])
        self.assertEqual((process.returncode, run["interrupted"]), (130, True))
        self.assertEqual([step["state"] for step in run["steps"]],
                         ["stopped"] + ["not begun"] * 3)
        self.assertGreaterEqual(run["files"], 2990)
        self.assertEqual(self.tree(), before)


if __name__ == "__main__":
    main()
