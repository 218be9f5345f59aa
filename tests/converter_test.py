"""The converter of examples/research_networks: converter_test.py FOLDER."""

import re
import sys
import unittest
from pathlib import Path

FOLDER = Path(sys.argv.pop(1)).resolve()
sys.path.insert(0, str(FOLDER))
import convert  # noqa: E402  (its folder is an argument)

TRAPS = '''
# Two nodes that know only each other, one alone, links to itself and twice, names of every kind.
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
]
''' % ("x" * 60, "X" * 60)


def read_description(text):
    """Servers in order: (name, links, {ap: applications})."""
    servers = []
    section = None
    for line in text.splitlines():
        name = re.search(r'- (?:name: )?"((?:[^"\\]|\\.)*)"$', line)
        if name:
            name = re.sub(r"\\(.)", r"\1", name[1])
        if line.startswith("  - "):
            servers.append((name, [], {}))
        elif line.strip() in ("links:", "aps:"):
            section = line.strip()
        elif "applications:" in line:
            last = servers[-1][2]
            last[list(last)[-1]] = line.split(": ")[1]
        elif name and section == "links:":
            servers[-1][1].append(name)
        elif name:
            servers[-1][2][name] = ""
    return servers


class ConverterTest(unittest.TestCase):
    maxDiff = 2000

    def test_rules_decide_kinds_links_and_names(self):
        topology = convert.convert(TRAPS)
        self.assertEqual((topology.self_loops, topology.parallel_links), (1, 1))
        self.assertEqual(read_description(convert.render(topology)), [
            ('Ends & "quotes"\\', ["hub (Moon)", "Hub 2 (Star)"], {}),
            ("Star node", [], {"Star node 2": ""}),
            ("hub (Moon)", ["Hub 2 (Star)"],
             {"x" * 44 + " (Star)": "[NCC]", "X" * 42 + " 2 (Star)": ""}),
            ("Lodz ????? Киев Thor", [], {}),
            ("Hub 2 (Star)", [], {"Hub (Star)": "[KC]"})])

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

        servers = read_description(text)
        names = [server[0] for server in servers]
        aps = [ap for server in servers for ap in server[2]]
        links = [frozenset((server[0], end)) for server in servers for end in server[1]]
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
        marked = sorted(a for server in servers for a in server[2].values() if a)
        self.assertEqual(marked, ["[KC]", "[NCC]"])


if __name__ == "__main__":
    unittest.main()
