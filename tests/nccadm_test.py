"""Drives nccadm as a process. Usage: nccadm_test.py NCCADM"""

import ctypes
import json
import os
import pty
import signal
import subprocess
import time

from nccadm_tool import ToolTest, main, tool


class NodeTest(ToolTest):
    def test_a_network_built_by_single_commands(self):
        self.assertEqual(self.ok("server", "add", "Центр", "--app", "ncc", "--value=7"), "id:1\n")
        self.ok("server", "add", "North")
        self.assertEqual(self.ok("ap", "add", "--app", "mail,files", "Центр", "Иванов"), "id:3\n")
        self.ok("ap", "add", "id:2", "Petrov")
        self.ok("server", "link", "North", "Центр")
        self.ok("server", "rename", "North", "Север")
        self.ok("server", "rename", "Север", "north")
        self.ok("server", "rename", "NORTH", "North")  # letter case alone
        self.ok("ap", "move", "Petrov", "Центр")
        self.ok("ap", "rename", "Petrov", "PETROV")
        servers = self.json("server", "list")["servers"]
        center = {"kind": "server", "id": 1, "address": "001A0001", "name": "Центр", "number": 1,
                  "applications": ["NCC"], "mask": 4, "settings": 2, "value": 7, "aps": 2,
                  "links": [{"id": 2, "name": "North"}]}
        self.assertEqual(servers[0], center)
        self.assertEqual(self.json("server", "show", "Центр")["server"], center)
        aps = self.json("ap", "list", "Центр")["aps"]
        self.assertEqual([ap["name"] for ap in aps], ["Иванов", "PETROV"])
        self.assertEqual(self.json("ap", "show", "petrov")["ap"], aps[1])
        self.assertEqual(aps[1]["server"], {"id": 1, "name": "Центр"})
        self.assertEqual(self.json("app", "list", "Иванов")["ap"], aps[0])
        tree = self.json("tree")["servers"]
        self.assertEqual(tree[0].pop("children"), aps)
        self.assertEqual(tree[0], center)
        info = self.json("info")
        self.assertEqual(info["objects"], {"servers": 2, "aps": 2, "links": 1, "users": 0,
                                           "deps": 0, "groups": 0})
        self.assertEqual(info["counters"], {"next_id": 5, "server_counter": 2, "ngrp_counter": 0})
        self.ok("server", "unlink", "Центр", "North")
        self.ok("ap", "delete", "Иванов")
        self.assertEqual(self.json("server", "show", "Центр")["server"],
                         {**center, "aps": 1, "links": []})

    def test_names_that_are_refused_say_why(self):
        cases = [("", "is empty"), (" \u00a0 ", "nothing but blanks"),
                 ("a" * 52, "has 52 characters; the limit is 51"),
                 ("я" * 52, "has 52 characters"), ("a\x1b[31m", "control character (U+001B)"),
                 ("a\u0085", "control character (U+0085)"),
                 ("東", "holds \"東\" (U+6771), which code page 1251 lacks"),
                 (b"\xd6\xe5\xed\xf2\xf0", "not UTF-8 text (byte 1)")]
        for name, reason in cases:
            with self.subTest(name=name):
                out, err = self.refused("server", "add", "--", name, says=reason)
                self.assertNotIn("\x1b", out + err)
        self.assertEqual(self.json("info")["counters"]["next_id"], 1)
        self.ok("server", "add", "я" * 51)
        self.ok("server", "show", "я" * 51)

    def test_references_are_names_or_ids_and_never_a_guess(self):
        self.apply_city()
        self.ok("server", "add", "id:1")
        self.assertEqual(self.json("server", "show", "id:1")["server"]["name"], "Center")
        self.assertEqual(self.json("server", "show", "id:0x1")["server"]["name"], "Center")
        self.assertEqual(self.json("server", "show", "name:id:1")["server"]["name"], "id:1")
        self.refused("server", "show", "Centre", says=["Centre", 'Did you mean "Center"?'])
        self.refused("ap", "show", "id:1", says="no AP has the id 1")
        self.refused("server", "show", "id:x", says="not an id")
        self.refused("ap", "add", "North", "ivanov", says=["already", "id:4", "Center"])
        self.ok("ap", "add", "Center", "Ivanov", "--allow-duplicate")
        self.ok("ap", "add", "Center", "North")
        self.refused("ap", "delete", "Ivanov", says=["2 objects", "id:4", "id:8"])
        self.refused("app", "list", "North", says=["id:2 (a server)", "id:9"])
        # The second of two with one name, although the database deletes the first by name.
        self.ok("ap", "delete", "id:8")
        self.assertEqual(self.json("ap", "show", "Ivanov")["ap"]["id"], 4)

    def test_applications_are_set_changed_and_searched(self):
        self.apply_city()
        mask = lambda: self.json("ap", "show", "Ivanov")["ap"]["mask"]
        for arguments, expected in [(["mail", "KC", "0x20000"], 0x20041),
                                    (["--add", "ncc", "--remove", "mail,kc"], 0x20004),
                                    (["--settings", "9"], 0x20004), (["--none"], 0)]:
            self.ok("app", "set", "Ivanov", *arguments)
            self.assertEqual(mask(), expected)
        self.assertEqual(self.json("ap", "show", "Ivanov")["ap"]["settings"], 9)
        self.refused("app", "set", "Ivanov", "mial", says='did you mean "MAIL"?')
        self.refused("app", "set", "Ivanov", "mail", "--add", "kc", code=2)
        self.ok("app", "set", "Center", "ncc", "mail")
        names = lambda *a: [n["name"] for n in self.json("app", "nodes", *a)["nodes"]]
        self.assertEqual(names("ncc", "kc", "--any"), ["Center", "Petrov"])
        self.assertEqual(names("ncc", "mail"), ["Center"])
        self.assertEqual(len(self.json("app", "list")["applications"]), 17)

    def test_find_takes_parts_patterns_ids_and_addresses(self):
        self.ok("server", "add", "Север")
        self.ok("server", "add", "0002 test")
        cases = [("СЕВ", [1]), ("*2*", [2]), ("?евер", [1]), ("евер?", []), ("id:2", [2]),
                 ("001a0001", [1]), ("0002", [2]), ("東", [])]
        for text, found in cases:
            with self.subTest(text=text):
                code, out, _ = self.run_tool("--json", "find", text)
                self.assertEqual([n["id"] for n in json.loads(out)["matches"]], found)
                self.assertEqual(code, 0 if found else 1)


class UserTest(ToolTest):
    """Center 1, North 2, South 3, Ivanov 4, Petrov 5, Sidorov 6; then what setUp adds."""

    def setUp(self):
        super().setUp()
        self.apply_city()
        for command in (["user", "add", "Анна"], ["user", "add", "Boris"], ["dep", "add", "Office"],
                        ["dep", "add", "Archive"], ["group", "add", "Region"],
                        ["group", "add-node", "Region", "Center"],
                        ["group", "add-node", "Region", "Sidorov"],
                        ["group", "add-dep", "Region", "Office"]):
            self.ok(*command)

    def held(self, user):
        return [(m["dep"]["name"], m["node"]["name"], m["kind"])
                for m in self.json("user", "memberships", user)["memberships"]]

    def names(self, kind, name, relation):
        return [one["name"] for one in self.json(kind, "show", name)[kind][relation]]

    def test_users_work_where_their_deps_are(self):
        steps = [  # command, whether it changes, what the user then holds of the Dep
            (["join", "Анна", "Office", "--memberships"], True, {"Center": 0, "Sidorov": 0}),
            (["join", "Анна", "Office", "--memberships"], False, {"Center": 0, "Sidorov": 0}),
            (["memberships", "Анна", "Office", "--remove", "Center"], None, {"Sidorov": 0}),
            (["memberships", "Анна", "Office", "--add", "Center", "--kind", "3"], None,
             {"Sidorov": 0, "Center": 3}),
            (["memberships", "Анна", "Office", "--all", "--kind", "255"], None,
             {"Center": 255, "Sidorov": 255}),
            (["primary", "Анна", "Office", "Sidorov"], True, {"Center": 255, "Sidorov": 255}),
            (["leave", "Анна", "Office"], True, {}), (["leave", "Анна", "Office"], False, {})]
        for arguments, changed, nodes in steps:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.json("user", *arguments).get("changed"), changed)
                self.assertEqual({node: kind for _, node, kind in self.held("Анна")}, nodes)
        self.assertEqual(self.json("user", "show", "Анна")["user"],
                         {"kind": "user", "id": 7, "address": "001A0007", "name": "Анна",
                          "primary": {"dep": {"id": 9, "name": "Office"},
                                      "node": {"id": 6, "name": "Sidorov"}},
                          "deps": [], "memberships": []})
        self.ok("user", "primary", "Анна", "--none")
        self.assertIsNone(self.json("user", "show", "Анна")["user"]["primary"])
        self.ok("user", "join", "Boris", "Archive")
        self.ok("user", "rename", "Boris", "BORIS")
        self.assertEqual(self.names("dep", "Archive", "users"), ["BORIS"])
        before = self.revision()
        for arguments, code, says in [
                (["add", "boris"], 1, "already (id:8)"), (["rename", "Анна", "Boris"], 1, "id:8"),
                (["show", "Bors"], 1, 'Did you mean "BORIS"?'), (["show", "id:9"], 1, "no user"),
                (["join", "Анна", "Offices"], 1, 'Did you mean "Office"?'),
                (["primary", "Анна", "Office", "Center"], 1, "user join id:7 id:9"),
                (["memberships", "BORIS", "Archive", "--add", "North"], 1, "not in the node group"),
                (["memberships", "BORIS", "--all"], 2, "a Dep is needed"),
                (["memberships", "BORIS", "Archive", "--all", "--kind", "256"], 2, "256"),
                (["primary", "BORIS", "Archive"], 2, "--none")]:
            self.refused("user", *arguments, code=code, says=says)
        self.assertEqual(self.revision(), before)

    def test_what_ends_memberships_is_asked_and_does_only_that(self):
        for user in ("Анна", "Boris"):
            self.ok("user", "join", user, "Office", "--memberships")
        self.ok("group", "add", "Other")
        # Nothing to take out: no membership may be lost either.
        for command in (["remove-node", "Other", "Center"], ["remove-dep", "Other", "Office"]):
            self.assertFalse(self.json("group", *command)["changed"])
        self.refused("group", "remove-node", "Region", "Center", says="--yes")
        self.assertEqual(len(self.held("Анна")), 2)
        self.ok("group", "remove-node", "Region", "Center", "--yes")
        self.assertEqual(self.held("Анна"), [("Office", "Sidorov", 0)])
        self.assertEqual(self.names("group", "Region", "nodes"), ["Sidorov"])
        self.refused("group", "remove-dep", "Region", "Office", says="2 memberships")
        self.refused("group", "delete", "Region", says="1 Dep")
        self.refused("dep", "delete", "Office", says="2 users")
        self.ok("group", "add-dep", "Other", "Office")
        self.assertEqual(self.names("dep", "Office", "groups"), ["Region", "Other"])
        self.ok("group", "remove-dep", "Region", "Office", "--yes")
        self.assertEqual((self.held("Boris"), self.names("dep", "Office", "groups")),
                         ([], ["Other"]))
        self.ok("dep", "delete", "Office", "--yes")
        self.assertEqual([u["deps"] for u in self.json("user", "list")["users"]], [[], []])
        self.ok("group", "delete", "Region")
        self.assertEqual([g["name"] for g in self.json("group", "list")["groups"]], ["Other"])

    def test_deps_are_linked_once_and_other_commands_know_the_new_kinds(self):
        self.ok("dep", "add", "Store")
        self.assertTrue(self.json("dep", "link", "Store", "Office")["changed"])
        self.assertFalse(self.json("dep", "link", "Office", "Store")["changed"])
        self.assertEqual(self.json("dep", "link-all")["links"], {"added": 2, "unchanged": 1})
        self.assertEqual(self.names("dep", "Office", "links"), ["Store", "Archive"])
        self.assertTrue(self.json("dep", "unlink", "Office", "Archive")["changed"])
        self.assertEqual(self.names("dep", "Archive", "links"), ["Store"])
        self.refused("dep", "link", "Office", "id:9", says="two different Deps")
        found = self.json("find", "*or*")["matches"]
        self.assertEqual([(one["kind"], one["name"]) for one in found],
                         [("server", "North"), ("ap", "Sidorov"), ("user", "Boris"),
                          ("dep", "Store")])
        self.assertEqual(self.json("find", "001A0007")["matches"][0]["name"], "Анна")
        info = self.json("info")["objects"]
        self.assertEqual((info["users"], info["deps"], info["groups"]), (2, 3, 1))
        self.ok("user", "join", "Boris", "Office")
        self.assertEqual(self.ok("tree", "--groups", "--depth", "3").splitlines()[1:], [
            "└─ Region  node group 001A000B", "   ├─ Center  server 001A0001",
            "   ├─ Sidorov  AP 001A0006", "   └─ Office  Dep 001A0009",
            "      └─ Boris  user 001A0008"])
        deps = self.json("tree", "--deps")["deps"]
        self.assertEqual([[u["name"] for u in d["children"]] for d in deps], [["Boris"], [], []])
        self.refused("tree", "--deps", "--server", "North", code=2)

    def test_check_names_every_loose_object(self):
        self.ok("user", "join", "Boris", "Office", "--memberships")
        self.ok("group", "add", "Empty")
        self.ok("server", "add", "Alone")
        for ap in ("Old", "Second"):
            self.ok("ap", "add", "Center", ap, "--app", "kc")
        self.ok("group", "add-node", "Region", "Old")
        self.ok("user", "memberships", "Boris", "Office", "--add", "Old")
        self.ok("user", "primary", "Boris", "Office", "Old")
        self.refused("ap", "delete", "Old", says=[
            'with the AP "Old" would go: the KC ("Old"); places in 1 node group ("Region"); the '
            "node of 1 membership; the node of 1 primary collective", "--yes"])
        self.refused("server", "delete", "Center", says=[
            '4 APs ("Ivanov", "Petrov", "Old", "Second")', 'the KC ("Petrov")',
            'the NCC ("Center")', 'links (to "North", "South")', "the node of 2 memberships"])
        self.ok("ap", "delete", "Old", "--yes")
        self.ok("server", "unlink", "Center", "South")
        self.ok("server", "delete", "South")  # nothing goes with it
        self.change_by_program(b"Boris", b"Bo\nris")
        out, _ = self.refused("check", "--json", code=3)
        document = json.loads(out)
        found = {c["check"]: [o["name"] for o in c["objects"]] for c in document["checks"]}
        self.assertEqual(found, {
            "servers-unconnected": ["Alone"], "servers-in-no-group": ["North", "Alone"],
            "servers-without-membership": ["North", "Alone"],
            "aps-in-no-group": ["Ivanov", "Petrov", "Second"],
            "aps-without-membership": ["Ivanov", "Petrov", "Second"], "users-in-no-dep": ["Анна"],
            "users-without-primary": ["Анна"], "users-without-membership": ["Анна"],
            "deps-without-user": ["Archive"], "deps-in-no-group": ["Archive"],
            "groups-without-node": ["Empty"], "groups-without-dep": ["Empty"],
            "no-ncc": ["001A"], "several-ncc": [], "no-kc": [], "several-kc": ["Second"],
            "memberships-of-what-is-gone": ["Bo\nris"], "primaries-of-what-is-gone": ["Bo\nris"],
            "names-with-control-characters": ["Bo\nris"],
            "identifiers-not-below-the-next": ["Second"]})
        self.assertEqual(document["found"], 24)
        gone = document["checks"][-3]["objects"][0]
        self.assertEqual((gone["kind"], gone["dep"]["name"], gone["node"]["name"]),
                         ("user", "Office", None))
        out, _ = self.refused("check", code=3)
        self.assertIn("1 user is in no Dep:\n  Анна  id:7\n", out)
        self.db = self.path("tidy")
        self.ok("init", "--network", "1")
        self.assertIn("0 users are in no Dep\n", self.refused("check", code=3)[0])
        self.ok("apply", self.write("tidy.yaml", """{network: 1, users: [{name: U, deps: [D],
            memberships: [{dep: D, node: S}, {dep: D, node: A}], primary: {dep: D, node: S}}],
            deps: [D], groups: [{name: G, nodes: [S, A], deps: [D]}],
            servers: [{name: S, aps: [{name: A, applications: [ncc, kc]}]}]}"""))
        self.ok("check")

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


class ProcessTest(ToolTest):
    def test_exit_codes_and_what_to_do_next(self):
        self.apply_city()
        self.refused("frobnicate", code=2, says='no command "nccadm frobnicate"')
        self.refused("servr", "list", code=2, says=['"nccadm servr"', 'mean "nccadm server"?'])
        self.refused("ap", "lst", code=2, says='mean "nccadm ap list"')
        self.refused("server", "add", "-foo", code=2, says="'nccadm server add -- -foo'")
        self.refused("plan", "a.yaml", "--prun", code=2, says='mean "--prune"?')
        self.refused("server", "add", code=2, says="nccadm server add --help")
        self.refused("server", "add", "X", "--value", "65536", code=2)
        self.refused("init", "--network", "0x10000", code=2, says="65535")
        self.refused("init", "--network", "1", says="exists")
        none = self.path("none")
        self.refused("--db", none, "info",
                     says=["there is no database", f"nccadm --db {none} init --network"])
        self.refused("--db", self.folder + "/", "info", code=2, says="is a folder")
        self.refused("--db", "", "info", code=2, says="NCCADM_DB")
        self.refused("apply", self.path("none.yaml"), says="No such file")
        error = json.loads(self.refused("server", "show", "Nort", "--json")[0])
        self.assertEqual(error["schema"], 1)
        self.assertEqual(error["error"]["hint"], 'Did you mean "North"?')

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
        self.assertEqual([one.wait(timeout=300) for one in loops], [0, 0])
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

    def test_files_are_written_whole_and_replaced_only_when_asked(self):
        self.apply_city()
        copy = self.path("copy.db")
        self.ok("backup", copy)
        self.refused("backup", copy, says=["exists", "--yes"])
        self.ok("backup", copy, "--yes")
        for command in ("backup", "dump"):
            self.refused(command, self.db + ".db", "--yes", says="belongs to the database")
        description = self.ok("dump")
        self.db = self.path("copy")
        self.assertEqual(self.ok("dump"), description)
        self.refused("dump", copy, says="belongs to the database")
        self.refused("dump", self.path("no/such/file"), says="cannot be written")
        self.assertEqual(self.ok("export", "nodenames", "--out", self.folder, "-q"), "")
        with open(self.path("NODENAME.DOC"), "rb") as file:
            self.assertTrue(file.readline().startswith(b"Ivanov" + b" " * 45 + b"1 A 0000001A0001"))
        self.refused("export", "nodenames", "--out", self.path("none"), says="no folder")

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

    def is_locked(self):
        return "in use" in self.run_tool("info")[2]

    def test_an_interrupted_apply_changes_all_or_nothing(self):
        aps = "".join(f"    - P{i}\n" for i in range(20000))
        file = self.write("big.yaml", "network: 26\nservers:\n- name: A\n  aps:\n" + aps)
        for delay in (0.05, 0.15, 0.25, 0.35):
            process = subprocess.Popen([tool(), "apply", file], env=self.environment(),
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
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
        script = self.ok("completion")
        commands = [line.split('"')[1].split() for line in script.splitlines() if '"]="' in line]
        leaves = [c for c in commands if not any(o[:len(c)] == c and o != c for o in commands)]
        self.assertGreater(len(leaves), 20)
        for command in leaves:
            self.assertIn("Example:\n  nccadm ", self.ok(*command[1:], "--help"), command)
        def complete(words):
            ask = f"COMP_WORDS=({words} ''); COMP_CWORD={len(words.split())}; _nccadm\n"
            done = subprocess.run(["bash", "-c", script + ask + 'echo "${COMPREPLY[@]}"'],
                                  capture_output=True, check=True)
            return done.stdout.decode().split()
        self.assertIn("unlink", complete("nccadm --db x server"))
        self.assertIn("--value", complete("nccadm server add"))
        self.assertIn("--json", complete("nccadm tree"))


if __name__ == "__main__":
    main()
