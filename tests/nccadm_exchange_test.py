"""Sets of files between neighbouring networks, both ways. Usage: nccadm_exchange_test.py NCCADM"""

import json
import os
import subprocess
import sys

from nccadm_tool import ToolTest, main, tool

NETWORK = """network: 0x1A
servers:
  - name: Center
    applications: [ncc]
    links: [North]
    aps: [Иванов, {name: Petrov, applications: [kc, mail]}]
  - {name: North, value: 77, aps: [Sidorov]}
groups:
  - {name: All, nodes: [Иванов, Center, Sidorov], deps: [Office, Склад]}
  - {name: Aps, nodes: [Petrov], deps: [Office]}
deps: [{name: Office, links: [Склад]}, Склад]
users:
  - name: Анна
    deps: [Office]
    memberships: [{dep: Office, node: Petrov}]
    primary: {dep: Office, node: Petrov}
  - {name: Boris, deps: [Склад], memberships: [{dep: Склад, node: Sidorov}],
     primary: {dep: Склад, node: Sidorov}}
"""
EXAMPLE = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                       "../examples/research_networks/exchange.py")
NOT_IN_FILES = ("settings", "value", "links")


def comparable(value):
    """Without what the files have no place for; orders that they do not keep are made alike."""
    if isinstance(value, list):
        return sorted(map(comparable, value), key=json.dumps)
    if isinstance(value, dict):
        gone = NOT_IN_FILES if "mask" in value else ()
        return {key: comparable(one) for key, one in value.items() if key not in gone}
    return value


class ExchangeTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.set = self.path("set")

    def write_set(self, description=NETWORK, *options):
        self.ok("apply", self.write("net.yaml", description))
        return self.ok("exchange", "write", "--out", self.set, "--name", "Шлюз", *options)

    def edit(self, name, change):
        with open(os.path.join(self.set, name), "r+b") as file:
            text = change(file.read())
            file.seek(0)
            file.truncate()
            file.write(text)

    def show(self, *options):
        return self.json("exchange", "show", "26", "--dir", self.set, *options)

    def test_a_neighbour_sees_the_network_as_its_owner_does(self):
        self.write_set(NETWORK, "--first", "7", "--second", "9")
        own = {view: comparable(self.json(*view)) for view in (
            ("tree",), ("tree", "--server", "north"), ("tree", "--depth", "1"),
            ("tree", "--deps"), ("tree", "--groups", "--depth", "3"), ("find", "O*"),
            ("find", "иван"), ("find", "001A0003"), ("show", "Анна"), ("show", "All"))}
        self.db = "none"  # from here on the files alone
        for (command, *options), expected in own.items():
            option = {"tree": (), "find": ("--find",), "show": ("--object",)}[command]
            self.assertEqual(comparable(self.show(*option, *options)), expected, options)
        self.assertIn("Иванов", self.ok("exchange", "show", "26", "--dir", self.set))
        self.refused("exchange", "show", "26", "--dir", self.set, "--find", "nobody")
        self.refused("exchange", "show", "26", "--dir", self.set, "--object", "Ofice",
                     says="Office")
        nets = self.json("exchange", "nets", "--dir", self.set)["networks"]
        self.assertEqual(nets, [{
            "network": 26, "gate": {"name": "Шлюз", "first": 7, "second": 9},
            "objects": {"servers": 2, "aps": 3, "groups": 2, "deps": 2, "users": 2}}])

    def test_what_cannot_be_written_is_told_and_nothing_appears(self):
        arguments = ("exchange", "write", "--out", self.set, "--name", "Gate")
        self.ok("apply", self.write("net.yaml", "network: 0x1A\nservers: [Дом 1, North]\n"
                                                "deps: [Archive]\n"))
        self.refused(*arguments, says=['server "Дом 1" (0001): the name holds a blank',
                                       'Dep "Archive" (0003): it is in no node group'])
        _, out, _ = self.run_tool("--json", *arguments, "--replace-blanks", "_")
        self.assertEqual([one["message"] for one in json.loads(out)["error"]["problems"]],
                         ['Dep "Archive" (0003): it is in no node group'])
        self.refused(*arguments[:-1], "two words", says="gateway")
        self.refused(*arguments, "--replace-blanks", "ab", code=2, says="one character")
        self.refused(*arguments[:-1], "漢", code=2, says="1251")
        self.assertFalse(os.path.exists(self.set))
        self.ok("dep", "delete", "Archive")
        self.ok("server", "link", "Дом 1", "North")
        self.refused(*arguments, says="--replace-blanks _")
        _, _, err = self.run_tool(*arguments, "--replace-blanks", "_")
        self.assertIn("not carried: links between servers, of 2 servers\n", err)
        self.refused(*arguments, "--replace-blanks", "x", says=["would be replaced", "--yes"])
        self.assertEqual([one["name"] for one in self.show()["servers"]], ["Дом_1", "North"])

    def test_a_damaged_set_is_told_by_file_and_line(self):
        self.write_set(NETWORK.replace(" Center, Sidorov]", " Sidorov]"))
        check = ("exchange", "check", "26", "--dir", self.set)
        self.ok(*check)
        self.edit("an26.txt", lambda text: text + b"001B0001 Stranger\n")
        self.edit("un26.txt", lambda text: b"\r\n" + text.replace(b" G", b" x"))
        out, _ = self.refused(*check, code=3, says="cannot be loaded")
        self.assertEqual([line.split(": ")[0] for line in out.splitlines()],
                         ["an26.txt:3", "un26.txt:2"])
        _, out, _ = self.run_tool("--json", *check)
        document = json.loads(out)
        self.assertEqual((document["loads"], [(one["file"], one["line"], one["fatal"])
                                              for one in document["faults"]]),
                         (False, [("an26.txt", 3, True), ("un26.txt", 2, True)]))
        self.refused("exchange", "show", "26", "--dir", self.set, says="an26.txt:3: ")
        net, = self.json("exchange", "nets", "--dir", self.set)["networks"]
        self.assertIn("an26.txt:3: ", net["problem"])
        for command in (("nets",), ("check", "26"), ("show", "26")):
            self.refused("exchange", *command, "--dir", self.path("no"), says="there is no folder")
        self.assertFalse(os.path.exists(self.path("no")))
        self.refused("exchange", "check", "0", code=2)

    def test_links_that_lead_out_of_the_set_are_shown_or_told(self):
        self.write_set()
        office = self.json("dep", "show", "Office")["dep"]["id"]
        self.edit("uc26.txt", lambda text: text + b"001A%04X 001B0005\n" % office)
        dep = self.show("--object", "Office")["dep"]
        self.assertEqual(dep["links"][1], {"network": 27, "id": 5, "name": None})
        self.assertIn("link          001B0005",
                      self.ok("exchange", "show", "26", "--dir", self.set, "--object", "Office"))
        self.edit("uc26.txt", lambda text: text + b"001A%04X 001A7777\n" % office)
        code, _, err = self.run_tool("exchange", "show", "26", "--dir", self.set, "--object",
                                     "Office")
        self.assertEqual((code, "lacks records" in err), (0, True))
        home = self.json("ap", "show", "Petrov")["ap"]
        self.edit("un26.txt", lambda text: b"Home 001A7000 001A%04X A\n" % home["id"] + text)
        dep = self.show("--object", "Home")["dep"]
        self.assertEqual((dep["home"], dep["group"]), ({"id": home["id"], "name": "Petrov"}, None))

    def test_the_largest_research_networks_read_each_other(self):
        path = os.path.dirname(tool()) + os.pathsep + os.environ["PATH"]
        done = subprocess.run([sys.executable, EXAMPLE, self.path("demo")], text=True, timeout=120,
                              env={**os.environ, "PATH": path}, stdout=subprocess.PIPE, check=True)
        self.assertEqual(done.stdout, "SigmaNet reads ULAKBIM: 79 of 79 nodes, 0 different\n"
                                      "ULAKBIM reads SigmaNet: 68 of 68 nodes, 0 different\n")


if __name__ == "__main__":
    main()
