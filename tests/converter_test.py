"""The converter of examples/research_networks: converter_test.py FOLDER."""

import re
import sys
import unittest
from pathlib import Path

FOLDER = Path(sys.argv.pop(1)).resolve()
sys.path.insert(0, str(FOLDER))
import convert  # noqa: E402  (its folder is an argument)

TRAPS = '''
# Two nodes that know only each other, one alone, links to itself and twice, names of every kind,
# a point that is no site, a node of no network, a network of one node, one behind another.
graph [
  node [ id 20 label "Hub" Network 'Star' ]
  node [ id 7 label Hub Network Star graphics [ x 1 y 2 ] ]
  node [ id 8 label "hub" Network Moon ]
  node [ id 3 label "Ends &amp; &quot;quotes&quot;\\" Network Star ]
  node [ id 4 Network "Star" ]
  node [ id 5 label "" Network "Star" ]
  node [ id 9 label "Łódź Αθήνα Киев Þór" Network Star ]
  node [ id 10 label "%s" Network Star ]
  node [ id 11 label "%s" Network Star ]
  edge [ source 20 target 7 ] edge [ source 7 target 20 LinkSpeed "10" ]
  edge [ source 20 target 20 ]
  edge [ source 20 target 8 ] edge [ source 8 target 3 ] edge [ source 20 target 3 ]
  edge [ source 5 target 4 ] edge [ source 10 target 8 ] edge [ source 11 target 8 ]
  node [ id 30 label "North" Network "%s" ] node [ id 31 label "South" Network "%s" ]
  node [ id 32 label "Mast" ] node [ id 33 label "" Network Moon hyperedge 1 ]
  edge [ source 30 target 31 ] edge [ source 31 target 20 ] edge [ source 33 target 30 ]
  edge [ source 33 target 32 ] edge [ source 40 target 41 ] edge [ source 41 target 31 ]
  node [ id 40 label "Field" Network Leaf ] node [ id 41 label "Gate" Network Leaf ]
]
''' % ("x" * 60, "X" * 60, "y" * 60, "y" * 60)


def read_description(text):
    """By section, the names of its objects with what each has by key: names, or for memberships
    and the primary collective (dep, node, kind)."""
    sections = {}
    for line in text.splitlines()[2:]:
        names = [re.sub(r"\\(.)", r"\1", name) for name in re.findall(r'"((?:[^"\\]|\\.)*)"', line)]
        if not line.startswith(" "):
            section = sections.setdefault(line.rstrip(":"), {})
        elif line.startswith("  - name:"):
            values = section.setdefault(names[0], {})
        elif "dep: " in line:
            key = "primary" if "primary:" in line else "memberships"
            values.setdefault(key, []).append((*names, int("kind: 1" in line)))
        elif "applications: " in line:
            values["aps"][-1] += line.split(": ")[1]
        elif names:
            values.setdefault(key, []).append(names[0])
        else:
            key = line.strip(" :")
    return sections


class ConverterTest(unittest.TestCase):
    maxDiff = 2000

    def test_rules_decide_kinds_links_and_names(self):
        topology = convert.convert(TRAPS)
        self.assertEqual((topology.self_loops, topology.parallel_links), (1, 1))
        self.assertEqual(read_description(convert.render(topology))["servers"], {
            'Ends & "quotes"\\': {"links": ["hub (Moon)", "Hub 2 (Star)"]},
            "Star node": {"aps": ["Star node 2"]},
            "hub (Moon)": {"links": ["Hub 2 (Star)"],
                           "aps": ["x" * 44 + " (Star)[NCC]", "X" * 42 + " 2 (Star)"]},
            "Lodz ????? Киев Thor": {},
            "Hub 2 (Star)": {"links": ["South"], "aps": ["Hub (Star)[KC]"]},
            "North": {"links": ["South", "Moon node"]},
            "South": {"links": ["Gate"]},
            "Moon node": {"aps": ["Mast"]},
            "Gate": {"aps": ["Field"]}})

    def test_networks_become_groups_deps_and_users(self):
        found = read_description(convert.render(convert.convert(TRAPS)))
        y, star, leaf = "y" * 37, "Star operations", "Leaf operations"
        long = y + " operations"
        self.assertEqual({name: len(group["nodes"]) for name, group in found["groups"].items()},
                         {"Star": 8, "Moon": 1, y: 2, "Leaf": 2})
        self.assertEqual(found["groups"]["Moon"],
                         {"nodes": ["hub (Moon)"], "deps": ["Moon operations"]})
        self.assertEqual(found["deps"], {star: {"links": ["Moon operations", long]},
                                         "Moon operations": {"links": [long]},
                                         long: {"links": [leaf]}, leaf: {}})
        users = found["users"]
        self.assertEqual(list(users), [name + role for name in ("Star", y, "Leaf")
                                       for role in (" NOC", " security", " field service")])
        self.assertEqual(users["Star NOC"]["memberships"], [
            (star, "Hub 2 (Star)", 0), (star, 'Ends & "quotes"\\', 1), (star, "Star node", 1),
            (star, "Lodz ????? Киев Thor", 1)])
        self.assertEqual([place[1] for place in users["Star security"]["memberships"]],
                         ["Hub 2 (Star)", 'Ends & "quotes"\\', "x" * 44 + " (Star)",
                          "X" * 42 + " 2 (Star)"])
        self.assertEqual(users["Leaf field service"],
                         {"deps": [leaf], "memberships": [(leaf, "Field", 0)],
                          "primary": [(leaf, "Field", 0)]})
        # The network that alone leads to another one looks after its gateway.
        self.assertEqual(users[y + " NOC"], {
            "deps": [long, leaf], "primary": [(long, "South", 0)],
            "memberships": [(long, "South", 0), (long, "North", 1), (leaf, "Gate", 1)]})
        self.assertEqual(users[y + " field service"], {"deps": [long]})

    def test_broken_files_are_refused(self):
        for text in ("graph [ node [ id 1 ]", "graph [ ] ]", 'graph [ label "x ]', "graph [ [ ] ]",
                     "node [ id 1 ]", "graph [ node [ id 1 ] node [ id 1 ] ]"):
            with self.subTest(text), self.assertRaises(ValueError):
                convert.read_topology(text)

    def test_committed_description_follows_from_the_topology(self):
        source = (FOLDER / "eu-nren-interconnect.gml").read_text(encoding="utf-8")
        text = (FOLDER / "network.yaml").read_text(encoding="utf-8")
        self.assertTrue(convert.render(convert.convert(source)) == text,
                        "network.yaml is not what convert.py makes of the topology")

        found = read_description(text)
        servers = found["servers"]
        names = list(servers)
        aps = [ap for server in servers.values() for ap in server.get("aps", [])]
        marked = sorted(ap[ap.index("["):] for ap in aps if "[" in ap)
        aps = [re.sub(r"\[\w+]$", "", ap) for ap in aps]
        links = [frozenset((name, end)) for name in names for end in servers[name].get("links", [])]
        # Counted without the converter: every node once, every pair of linked nodes once.
        nodes = re.findall(r"^  node \[", source, re.MULTILINE)
        pairs = set(map(frozenset, re.findall(r"source (\d+)\s+target (\d+)", source)))
        self.assertEqual(len(names) + len(aps), len(nodes))
        self.assertEqual(len(links) + len(aps), len(pairs))
        self.assertEqual(len(nodes), 1157)

        self.assertEqual(len(set(links)), len(links), "a link is written twice")
        self.assertLessEqual(set().union(*links), set(names), "a link ends nowhere")
        self.assertNotIn(1, map(len, links), "a server is linked to itself")
        self.assertEqual(len({name.lower() for name in names + aps}), len(nodes))
        self.assertEqual([n for n in names + aps if not 0 < len(n.encode("cp1251")) <= 51], [])
        self.assertEqual(marked, ["[KC]", "[NCC]"])
        self.check_population(found, set(names + aps))

    def check_population(self, found, nodes):
        groups, deps, users = found["groups"], found["deps"], found["users"]
        grouped = [node for group in groups.values() for node in group["nodes"]]
        self.assertEqual((len(groups), len(grouped), len(set(grouped) - nodes)), (42, 1149, 0))
        self.assertEqual(len(set(grouped)), len(grouped))
        nodes_of = {dep: group["nodes"] for group in groups.values() for dep in group["deps"]}
        self.assertEqual(list(nodes_of), list(deps))
        links = [frozenset((dep, end)) for dep in deps for end in deps[dep].get("links", [])]
        self.assertEqual((len(links), len(set(links))), (48, 48))
        for name in [*groups, *deps, *users]:
            self.assertLessEqual(len(name.encode("cp1251")), 51)
        for name, user in users.items():
            memberships = user.get("memberships", [])
            self.assertEqual(len(set(memberships)), len(memberships), name)
            self.assertEqual(user.get("primary", []), memberships[:1], name)
            for dep, node, _ in memberships:
                self.assertIn(dep, user["deps"])
                self.assertIn(node, nodes_of[dep])


if __name__ == "__main__":
    unittest.main()
