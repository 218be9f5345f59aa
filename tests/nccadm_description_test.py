"""Description files, plans and tables of nccadm. Usage: nccadm_description_test.py NCCADM"""

import json
import os
import random

from nccadm_tool import CITY, ToolTest, main


class DescriptionTest(ToolTest):
    def test_apply_adds_changes_moves_and_removes_nothing(self):
        self.apply_city()
        self.ok("ap", "add", "South", "Kept")
        before = self.revision()
        change = self.write("change.yaml", """
network: 26
preferences: {value_14: 5}
servers:
  - name: north
    links: [south, CENTER]
    aps: [Petrov, Novikov]
  - name: Center
    applications: []
    settings: 4
    aps: [{name: Ivanov, applications: mail}]
""")
        self.assertEqual(self.run_tool("plan", change)[0], 4)
        self.assertEqual(self.revision(), before)
        code, out, err = self.run_tool("--json", "apply", change)
        self.assertEqual((code, json.loads(out)["revision"]), (0, before + 1))
        self.assertEqual(self.counts(json.loads(out)), {
            "servers": {"changed": 1, "unchanged": 1, "not_in_file": 1},
            "aps": {"added": 1, "changed": 1, "moved": 1, "not_in_file": 2},
            "links": {"added": 1, "unchanged": 1}, "preferences": {"changed": 1}})
        self.assertIn("1 server, 2 APs are not in the file; --prune removes them.", err)
        north = self.json("tree", "--server", "North")["servers"][0]
        self.assertEqual([ap["name"] for ap in north["children"]], ["Sidorov", "Petrov", "Novikov"])
        self.assertEqual(north["children"][1]["applications"], ["KC"])
        self.assertEqual([link["name"] for link in north["links"]], ["Center", "South"])
        center = self.json("server", "show", "Center")["server"]
        self.assertEqual((center["mask"], center["settings"]), (0, 4))
        self.assertEqual(self.json("ap", "list", "South")["aps"][0]["name"], "Kept")
        self.assertEqual(self.ok("plan", change), "Plan: nothing to do.\n")
        self.assertEqual(self.json("apply", change)["revision"], before + 1)

    def test_every_fault_is_told_with_its_place_and_nothing_is_applied(self):
        self.apply_city()
        self.ok("ap", "add", "Center", "Twin")
        self.ok("ap", "add", "North", "Twin", "--allow-duplicate")
        self.ok("ap", "add", "North", "Both")
        self.ok("server", "add", "Both")
        before = self.revision()
        cases = [
            ("", ["F: the description must be a mapping"]),
            ("servers: []\n", ['F:1:1: the key "network" is missing']),
            ("network: 7\n",
             ["F:1:10: this describes network 0x0007, the database holds 0x001A"]),
            ("network: 26x\n",
             ["F:1:10: the network number must be a number from 0 to 4294967295"]),
            ("network: 26\nserver: []\n",
             ['F:2:1: unknown key "server"; did you mean "servers"?']),
            ("network: 26\nnetwork: 26\n", ['F:2:1: the key "network" is given twice']),
            ("network: 26\nservers:\n  - {name: A, value: 70000, aps: 5}\n",
             ["F:3:22: the value must be a number from 0 to 65535", "F:3:34: aps must be a list"]),
            ("network: 26\nservers: [A, a, {value: 1}, ~, 'x\\\ny']\n",
             ['F:2:14: the server "a" stands in line 2 already', "F:2:17: the server has no name",
              "F:2:29: a server must be a mapping, not nothing"]),
            ("network: 26\nservers:\n  - {name: A, aps: [X, 東, x], applications: [Mial]}\n",
             ['F:3:24: the AP\'s name holds "東" (U+6771)', 'F:3:27: the AP "x" stands in line 3',
              'F:3:46: "Mial" is not an application; did you mean "MAIL"?']),
            ("network: 26\nservers:\n  - {name: A, links: [a, Centre]}\n",
             ['F:3:23: the server "A" is linked to itself']),
            ("network: 26\nservers:\n  - {name: Я, links: [Centre]}\n",
             ['F:3:23: no server "Centre" is described or in the database; did you mean '
              '"Center"?']),
            ("network: 26\nlinks: [[Center], [North, North]]\n",
             ["F:2:9: a link names two servers", "F:2:27: the server \"North\" is linked"]),
            ("network: 26\nservers: [{name: North, value: 3, aps: [twin]}]\n",
             ['F:2:32: the value of the server "North" is 77 and cannot be changed',
              'F:2:41: several APs of the database are named "Twin"']),
            ("network: 26\ngroups: [{name: G, nodes: [{site: X}, {ap: X, server: Y}]}]\n",
             ['F:2:29: unknown key "site"; known: server, ap',
              "F:2:39: a node is its name, or {server: NAME} or {ap: NAME}"]),
            ("network: 26\ngroups: [G, g, {nodes: [Centr, Both, {ap: Center}]}]\n",
             ['F:2:13: the node group "g" stands in line 2', "F:2:16: the node group has no name"]),
            ("network: 26\ngroups: [{name: G, nodes: [Centr, Both, {ap: Center}], deps: [E]}]\n",
             ['F:2:28: no server or AP "Centr" is described or in the database; did you mean "Cent',
              'F:2:35: both a server (id:10) and an AP (id:9) are named "Both"; write {server: ',
              'F:2:46: no AP "Center" is', 'F:2:63: no Dep "E" is']),
            ("network: 26\ndeps: [{name: D, group: G, users: [Ann]}]\ngroups: [G]\n",
             ['F:2:25: the Dep "D" is not in the node group "G"', 'F:2:36: no user "Ann" is']),
            ("network: 26\ndeps: [D]\nusers:\n  - name: U\n    memberships: [{dep: D, node: North},"
             " {dep: D}, {dep: D, node: North, kind: 256}]\n    primary: Center\n",
             ["F:5:42: a membership names a Dep and a node",
              "F:5:80: the kind must be a number from 0 to 255",
              "F:6:14: the primary collective must be a mapping, not a single value"]),
            ("network: 26\ndeps: [D]\nusers: [{name: U, memberships: [{dep: D, node: North}, "
             "{dep: d, node: NORTH}]}]\n", ['F:3:62: the membership of "D" at "North" stands']),
            ("network: 26\ngroups: [G]\ngroup_deps: [[G], [H, D]]\n",
             ["F:3:14: a pair is [GROUP, DEP]"]),
            ("network: 26\nservers: [&a A, *a]\n", ["F:2:11: anchors are not accepted"]),
            ("network: 26\n---\nnetwork: 26\n", ["F:3:1: a second document"]),
            ("network: 26\nservers: " + "[" * 9 + "]" * 9, ["F:2:17: nested more than 8 deep"]),
            ("network: 26\nservers: [!!str A]\n", ["F:2:11: tags are not accepted"]),
            ("network: 26\nservers: [A\n", ["F:3:1: did not find expected ',' or ']'"]),
            ("network: 26 # \u2028servers: []\n", ["F:1:15: a control character (U+2028)"]),
            (b"network: 26\n# \xd6\n", ["F:2:3: not UTF-8"]),
            ("network: 26\nservers: ['\x1b']\n", ["F:2:12: a control character (U+001B)"]),
            ("network: 26\nservers: [" + "x, " * 30 + "]\n",
             ["F:2:68: the server", "F: 9 more problems"]),
        ]
        for text, messages in cases:
            with self.subTest(text=text[:60]):
                file = self.write("bad.yaml", text)
                expected = [message.replace("F:", file + ":", 1) for message in messages]
                self.refused("apply", file, says=expected + ["nothing was changed"])
        self.assertEqual(self.revision(), before)
        file = self.write("bad.yaml", "\ufeffnetwork: 26\nservers: [A, A]\n")
        error = json.loads(self.refused("--json", "apply", file)[0])["error"]
        self.assertEqual(error["problems"][0]["line"], 2)
        self.assertEqual(error["problems"][0]["column"], 14)

    def test_a_name_may_be_written_in_every_form_of_text(self):
        self.ok("apply", self.write("forms.yaml", r"""%YAML 1.1
--- # the only document
{network: 0x1A, "servers": [{name: S, aps: ['12', 13, "1\x34 \u0416", 'it''s', "two
   lines", "~", null x, a:b, http://x, ! null, -5,
   plain # comment
   ]}],
 ? users
 : [{name: 0x1F, deps: , primary: ~}, "no\
   gap"]}
...
"""))
        self.assertEqual([ap["name"] for ap in self.json("ap", "list", "S")["aps"]], [
            "12", "13", "14 Ж", "it's", "two lines", "~", "null x", "a:b", "http://x", "null",
            "-5", "plain"])
        self.assertEqual([user["name"] for user in self.json("user", "list")["users"]],
                         ["0x1F", "nogap"])
        self.ok("apply", self.write("blocks.yaml", "network: 26\nservers:\n- name: S\n  aps:\n"
                                    "  - >-\n    folded\n    text\n  - |-\n    as it is\n"))
        self.assertEqual([ap["name"] for ap in self.json("ap", "list", "S")["aps"]][-2:],
                         ["folded text", "as it is"])

    def test_dump_describes_the_same_network_again(self):
        names = ["yes", "null", "~", "0x1F", "12", "a: b", "# c", "- d", " lead", "trail ", "'q'",
                 '"q"', "[f]", "{g}", "\u00a0nb", "№ 5", "Ёж", "back\\slash", "*a", "&a", "!a",
                 "%a", "a,b", "y", "x  y", "name:z", "id:3", "1e3", ".5", "=", "<<", "»«",
                 "Я" * 51]
        for i in range(8):
            self.ok("server", "add", f"S{i}", "--value", str(i * 9000), "--app", str(1 << i * 4))
        for i, name in enumerate(names):
            self.ok("ap", "add", f"S{i % 8}", "--", name)
        self.ok("app", "set", "name:12", "kc", "0x80000000", "--settings", "200")
        # Links made and taken away in any order: each server's own order has to come back.
        shuffle = random.Random(7)
        for _ in range(60):
            one, other = shuffle.sample(range(8), 2)
            self.ok("server", shuffle.choice(["link", "link", "unlink"]), f"S{one}", f"S{other}")
        self.check_round_trip(["\nlinks:\n"])

    def test_dump_writes_plain_link_orders_at_the_servers(self):
        self.apply_city()
        self.check_round_trip(["links: [North, South]"])

    def test_dump_carries_groups_deps_and_users_in_every_order(self):
        order = random.Random(11)
        some = lambda names, count: ", ".join(order.choices(names, k=count))
        pairs = lambda ones, others: "".join(f"  - [{order.choice(ones)}, {order.choice(others)}]\n"
                                             for _ in range(25))
        nodes = ["A", "P1", "P2", "{server: B}", "{ap: B}"]
        groups, deps, users = ([f"{kind}{i}" for i in range(6)] for kind in "GDU")
        # Every Dep ends in the group that is named last for it; D0 keeps none, D1 another one.
        text = ("network: 26\nservers:\n  - {name: A, aps: [P1, P2, B]}\n  - B\n"
                f"groups: [{', '.join(groups)}]\ngroup_nodes:\n" + pairs(groups, nodes) +
                "group_deps:\n  - [G1, D0]\n  - [G5, D1]\n  - [G2, D1]\n" +
                pairs(groups[:5], deps[2:]) + "deps:\n  - {name: D0, group: ~, links: [D0]}\n"
                "  - {name: D1, group: G5, users: [U1, U0, U1]}\n" +
                "".join(f"  - {{name: {dep}, users: [{some(users, 4)}]}}\n" for dep in deps[2:]) +
                "dep_links:\n" + pairs(deps, deps) + "users:\n")
        for user in users:
            held = order.sample([(dep, node) for dep in deps for node in nodes], 6)
            text += f"  - name: {user}\n    memberships:\n" + "".join(
                f"      - {{dep: {dep}, node: {node}, kind: {order.choice([0, 0, 9])}}}\n"
                for dep, node in held)
            text += order.choice(["", "    primary: {node: A}\n",
                                  "    primary: {dep: D4, node: {ap: B}}\n", "    primary: ~\n"])
        self.ok("apply", self.write("odd.yaml", text))
        shown = lambda name: self.json("dep", "show", name)["dep"]
        self.assertIsNone(shown("D0")["group"])
        self.assertEqual(shown("D1")["group"], self.json("group", "show", "G5")["group"]["id"])
        self.assertEqual([user["name"] for user in shown("D1")["users"]], ["U1", "U0", "U1"])
        self.check_round_trip(["group_nodes:\n", "group_deps:\n", "dep_links:\n", "group: ~\n"])
        again = self.ok("plan", "--prune", self.path("odd.yaml"))
        self.assertEqual(again, "Plan: nothing to do.\n")
        # What names nothing any more is left out, and said.
        self.ok("ap", "delete", "P1", "--yes")
        _, out, err = self.run_tool("dump")
        self.assertNotIn("P1", out)
        self.assertRegex(err, r"\d memberships name what does not exist any more: left out")

    def check_round_trip(self, parts):
        text = self.ok("dump")
        for part in parts:
            self.assertIn(part, text)
        structure = self.structure()
        # Nobody else reads it, and nothing can be laid in its way.
        victim = self.write("victim", "mine")
        os.symlink(victim, self.path("copy.yaml.part"))
        self.assertEqual(self.run_tool("dump", self.path("copy.yaml"), umask=0)[0], 0)
        self.assertEqual((os.stat(self.path("copy.yaml")).st_mode & 0o777, os.stat(victim).st_size),
                         (0o600, 4))
        self.db = self.path("copy")
        self.ok("init", "--network", "26")
        self.ok("apply", self.path("copy.yaml"))
        self.assertEqual(self.ok("dump"), text)
        self.assertEqual(self.structure(), structure)

    def structure(self):
        def strip(value):
            if isinstance(value, dict):
                return {k: strip(v) for k, v in value.items()
                        if k not in ("id", "address", "number")}
            return [strip(item) for item in value] if isinstance(value, list) else value
        groups = {group["id"]: group["name"] for group in self.json("group", "list")["groups"]}
        deps = self.json("dep", "list")["deps"]
        for dep in deps:
            dep["group"] = groups.get(dep["group"])
        return (strip(self.json("tree")), self.json("info")["preferences"], strip(deps),
                strip(self.json("group", "list")), strip(self.json("user", "list")))

    def test_dump_refuses_what_names_cannot_tell_apart(self):
        self.apply_city()
        self.ok("ap", "add", "North", "IVANOV", "--allow-duplicate")
        self.refused("dump", says=["id:4", "id:7", "ap rename id:NUMBER"])


class PlanTest(ToolTest):
    """Region holds Center, Petrov and Office; Anna works at both, Boris is in two Deps."""

    def setUp(self):
        super().setUp()
        self.ok("apply", self.write("start.yaml", CITY + """
groups: [{name: Region, nodes: [Center, Petrov], deps: [Office]}, Spare]
deps: [Office, {name: Store, links: [Office]}]
users:
  - name: Anna
    deps: [Office]
    memberships: [{dep: Office, node: Petrov, kind: 1}, {dep: Office, node: Center}]
    primary: {dep: Office, node: Petrov}
  - {name: Boris, deps: [Office, Store]}
"""))
        self.change = self.write("change.yaml", """network: 26
servers:
  - {name: North, links: [South], aps: [Petrov, Sidorov, New]}
  - Center
  - {name: South, links: [Center]}
groups: [{name: Region, nodes: [New, Petrov], deps: [Office]}]
deps: [Office, {name: Store, links: [Office]}]
users:
  - {name: Anna, deps: [Store], memberships: [{dep: Office, node: Petrov}]}
  - {name: Boris, deps: [Office], primary: {dep: Office, node: Petrov}}
""")

    def test_a_plan_shows_what_apply_then_does(self):
        before, start = self.revision(), self.ok("dump")
        kept, err = self.refused("plan", self.change, code=4, says=[
            "1 AP, 1 node group, 1 link, 1 node in a group, 2 users in Deps, 1 membership are not"])
        self.assertNotIn("\n- ", kept)
        out, err = self.refused("plan", self.change, "--prune", code=4, says="it takes --force")
        self.assertEqual(out.splitlines(), [
            '~ server "North"', '    + link "South"', '~ server "Center"', '    - link "North"',
            '~ AP "Petrov"', '    ~ server "Center" -> "North"',
            '+ AP "New"', '    + server "North"', '- AP "Ivanov"',
            '- node group "Spare"', '~ node group "Region"', '    + node "New"',
            '    - node "Center"', '~ user "Anna"', '    + Dep "Store"', '    - Dep "Office"',
            '    ~ membership "Office" at "Petrov", kind 1 -> kind 0',
            '    - membership "Office" at "Center", kind 0', '~ user "Boris"', '    - Dep "Store"',
            '    ~ primary none -> "Office" at "Petrov"',
            "Plan: APs 1 to add, 1 to move, 1 to remove; node groups 1 to remove; users 1 to "
            "change; links 1 to add, 1 to remove; nodes in groups 1 to add, 1 to remove; users in "
            "Deps 1 to add, 2 to remove; memberships 1 to change, 1 to remove."])
        self.assertEqual((self.revision(), self.ok("dump")), (before, start))
        document = json.loads(self.refused("plan", "--json", self.change, "--prune", code=4)[0])
        petrov, gone = [one for one in document["changes"] if one["kind"] == "ap"][::2]
        self.assertEqual(petrov["details"], [{"action": "change", "field": "server",
                                              "from": "Center", "to": "North"}])
        self.assertEqual(gone, {"action": "remove", "kind": "ap", "name": "Ivanov", "details": []})
        self.refused("apply", self.change, "--prune", says=["1 of 3 APs", "1 of 2 node groups"])
        self.assertEqual(self.revision(), before)
        done = self.json("apply", self.change, "--prune", "--force")
        self.assertEqual(self.counts(document["summary"]), self.counts(done))
        self.assertEqual(self.ok("plan", self.change, "--prune"), "Plan: nothing to do.\n")
        # Leaving the Dep took both memberships along; the one in the file is there again.
        self.assertEqual([(m["node"]["name"], m["kind"])
                          for m in self.json("show", "Anna")["user"]["memberships"]],
                         [("Petrov", 0)])
        self.assertEqual(self.json("show", "Anna")["user"]["primary"]["node"]["name"], "Petrov")
        self.assertEqual([ap["name"] for ap in self.json("ap", "list", "North")["aps"]],
                         ["Sidorov", "Petrov", "New"])

    def test_a_kept_plan_is_carried_out_once_and_only_on_its_revision(self):
        plan = self.path("city.plan")
        self.refused("plan", self.change, "--prune", "--out", plan, code=4)
        self.refused("plan", plan, says="is a plan already")
        self.refused("apply", plan, "--prune", code=2)
        self.refused("apply", plan, says="1 of 3 APs")
        copy = self.path("copy")
        self.ok("backup", copy + ".db")
        self.ok("apply", plan, "--force")
        result = self.ok("dump")
        self.refused("apply", plan, "--force", says=["for revision 2", "at revision 3"])
        self.db = copy
        self.ok("apply", self.change, "--prune", "--force")
        self.assertEqual(self.ok("dump"), result)
        self.db = self.path("other")
        self.ok("init", "--network", "27")
        self.refused("apply", plan, says="the plan is for network 0x001A")
        with open(plan) as file:
            self.write("cut.plan", file.read()[:-20])
        self.refused("apply", self.path("cut.plan"), says="the plan file is damaged")

    def test_references_that_prune_would_break_are_refused(self):
        self.refused("apply", "--prune", "--force", self.write("broken.yaml", """network: 26
servers: [Center]
groups: [{name: Region, nodes: [Petrov]}]
deps: [{name: Office, links: [Store]}]
"""), says=['broken.yaml:3:33: the AP "Petrov" is not in the file and would be removed',
            'broken.yaml:4:31: the Dep "Store" is not in the file'])

    def test_tables_are_imported_whole_or_not_at_all(self):
        users = b'\xef\xbb\xbf"name";deps;nodes\r\n\r\n"Petrova; ""P""";Office|Store;*\r\n' \
                b'Boris;;\r\nAnna;Store;\r\nZoe ; Office ;Petrov|center'
        report = self.json("import-csv", "users", self.write("u.csv", users))
        self.assertEqual(self.counts(report), {
            "users": {"added": 2, "unchanged": 2}, "user_deps": {"added": 4},
            "memberships": {"added": 4}})
        self.assertEqual([(u["name"], u["primary"] and u["primary"]["node"]["name"],
                           [m["node"]["name"] for m in u["memberships"]])
                          for u in self.json("user", "list")["users"]],
                         [("Anna", "Petrov", ["Petrov", "Center"]), ("Boris", None, []),
                          ('Petrova; "P"', "Center", ["Center", "Petrov"]),
                          ("Zoe", "Petrov", ["Petrov", "Center"])])
        table = ("Server\tname\tapplications\tsettings\n"
                 "North\tRoom, 1\tmail|0x20000\t9\nSouth\tB\t\t")
        self.ok("import-csv", "aps", self.write("a.csv", table.encode("utf-16")))
        room = self.json("show", "Room, 1")["ap"]
        self.assertEqual((room["server"]["name"], room["mask"], room["settings"]),
                         ("North", 0x20001, 9))
        before = self.revision()
        for kind, text, messages in [
                ("users", "", ["F: the file is empty"]),
                ("users", "Anna;Office\nBoris;Store\n", [
                    "F:1:1: the first line has to name the columns, such as name,deps,nodes"]),
                ("users", "name,deps\nA;Office\nB;Store\n", [
                    "F:2:1: this line and all others have not the number of fields of the first"]),
                ("users", "deps,nam\n", [
                    'F:1:6: unknown column "nam"; known: name, deps, nodes',
                    'F:1:1: the column "name" is missing']),
                ("users", 'name\nA\n"B\n\n', ["F:3:1: this quote is never closed"]),
                ("users", 'name\n"B" C\n', ["F:2:5: text behind a field in quotes"]),
                ("users", b"name\nA\nB\xd6\n\xd6\n", ["F:3:2: not UTF-8 text; say what it"]),
                ("users", "name\nA".encode("utf-16le"), ["F:1:2: not UTF-8 text; say what it"]),
                ("users", 'name\n" \u00a0"\n', ["F:2:1: the name holds nothing but blanks"]),
                ("users", '"name",deps,nodes\n"a\nb",,\nA,Ofice,\na,Office,North\nB,,,\n', [
                    "F:2:1: the name holds a control", 'F:4:3: no Dep "Ofice" is described or in',
                    'F:5:1: the user "a" stands in line 4', 'F:5:10: "North" is in the node group',
                    "F:6:1: 4 fields where the first line has 3"]),
                ("aps", "name,server,applications,settings\nA,Nort,mial,256\n", [
                    'F:2:3: there is no server "Nort"; did you mean "North"?',
                    'F:2:8: "mial" is not an application', "F:2:13: the settings must be a"])]:
            file = self.write("bad.csv", text)
            says = [message.replace("F:", file + ":", 1) for message in messages]
            _, err = self.refused("import-csv", kind, file, says=says + ["nothing was changed"])
            self.assertEqual(err.count("\n"), len(messages) + 1, err)
        self.assertEqual(self.revision(), before)
        self.ok("import-csv", "users", self.write("cp.csv", "name\nЯна".encode("cp1251")),
                "--encoding", "cp1251")
        self.ok("show", "Яна")

    def test_show_finds_one_object_of_any_kind(self):
        for reference, kind, name in [("office", "dep", "Office"), ("id:1", "server", "Center"),
                                      ("001A0006", "ap", "Sidorov"), ("Spare", "group", "Spare"),
                                      ("name:Boris", "user", "Boris")]:
            self.assertEqual(self.json("show", reference)[kind]["name"], name)
        self.ok("user", "add", "Sidorov")
        self.refused("show", "sidorov", says=["2 obj", 'id:6 (AP at "North")', "id:13 (a user)"])
        self.refused("show", "Ofice", says='Did you mean "Office"?')
        self.refused("show", "id:99", says="there is no object")


if __name__ == "__main__":
    main()
