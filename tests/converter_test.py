"""The converter of examples/research_networks: converter_test.py FOLDER."""

import re
import sys
import unittest
from pathlib import Path

FOLDER = Path(sys.argv.pop(1)).resolve()
GOLDEN = Path(__file__).resolve().parent / "golden" / "converter"
sys.path.insert(0, str(FOLDER))
import convert  # noqa: E402  (its folder is an argument)


class ConverterTest(unittest.TestCase):
    maxDiff = None

    def test_traps(self):
        topology = convert.convert((GOLDEN / "traps.gml").read_text(encoding="utf-8"))
        self.assertEqual((topology.self_loops, topology.parallel_links), (1, 1))
        self.assertMultiLineEqual(convert.render(topology),
                                  (GOLDEN / "traps.yaml").read_text(encoding="utf-8"))

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
        # Counted without the converter: every pair of linked nodes is one link or one AP.
        servers = text[text.index("\nservers:"):text.index("\ngroups:")]
        names = re.findall(r'^  - name: "(.*)"$', servers, re.MULTILINE)
        entries = re.findall(r'^      - (?:name: )?"', servers, re.MULTILINE)
        pairs = set(map(frozenset, re.findall(r"source (\d+)\s+target (\d+)", source)))
        self.assertEqual(len(entries), len(pairs))
        self.assertEqual((len(names), len({name.lower() for name in names})), (730, 730))
        self.assertEqual([name for name in names if len(name.encode("cp1251")) > 51], [])


if __name__ == "__main__":
    unittest.main()
