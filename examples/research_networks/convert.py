#!/usr/bin/env python3
"""Turns a topology in GML into a description file for nccadm.

    convert.py TOPOLOGY.gml [NETWORK_NUMBER] > network.yaml

README.md has the rules and where the topology comes from.
"""

import html
import re
import sys
from collections import Counter
from dataclasses import dataclass, field

import population
from names import NAME_BYTES, claim_name, to_code_page

NETWORK_NUMBER = 0x1A
# What the topology says of a place and no record has room for.
NOTES = {"city": "label", "country": "Country", "latitude": "Latitude", "longitude": "Longitude",
         "network": "Network"}
# Tells several sites in a city apart.
SITE_NUMBER = re.compile(r"(?<=[a-z])[0-9]+$")
CENTRES = ("NCC", "KC")  # applications, as "nccadm app list" calls them

TOKEN = re.compile(r'''\s+|\#[^\n]*|(?P<open>\[)|(?P<close>\])
                   |"(?P<text>[^"]*)"|'(?P<single>[^']*)'|(?P<word>[^\s\[\]"']+)''', re.VERBOSE)


@dataclass
class Node:
    id: int
    label: str
    network: str  # the research network that runs the node; may be empty
    is_site: bool = True  # not just a point where lines of the map meet
    notes: dict = field(default_factory=dict)
    name: str = ""
    neighbours: set = field(default_factory=set)
    server: "Node" = None  # whose AP this is; None for a server
    applications: list = field(default_factory=list)

    def is_server(self):
        return self.server is None


@dataclass
class Topology:
    nodes: dict  # by id
    networks: list = field(default_factory=list)
    self_loops: int = 0
    parallel_links: int = 0

    def servers(self):
        return [node for node in self.nodes.values() if node.is_server()]

    def aps_of(self, server):
        return [node for node in self.nodes.values() if node.server is server]


def read_tokens(text):
    """Yields ("open" | "close" | "value", text); quoted values may hold entities."""
    position = 0
    while position < len(text):
        match = TOKEN.match(text, position)
        if not match:
            line = text.count("\n", 0, position) + 1
            raise ValueError(f"line {line}: a quote that nothing ends")
        position = match.end()
        kind = match.lastgroup
        if kind in ("open", "close"):
            yield kind, ""
        elif kind == "word":
            yield "value", match["word"]
        elif kind:
            yield "value", html.unescape(match[kind])


def parse_gml(text):
    """The topmost list of (key, value) pairs; a value is a text or again such a list."""
    stack, key = [[]], None
    for kind, value in read_tokens(text):
        if kind == "open":
            if key is None:
                raise ValueError("a list without a key")
            inner = []
            stack[-1].append((key, inner))
            stack.append(inner)
            key = None
        elif kind == "close":
            if key is not None or len(stack) == 1:
                raise ValueError("a ] too many, or a key without a value")
            stack.pop()
        elif key is None:
            key = value
        else:
            stack[-1].append((key, value))
            key = None
    if key is not None or len(stack) != 1:
        raise ValueError("the file ends inside a list")
    return stack[0]


def read_topology(text):
    graphs = [value for key, value in parse_gml(text) if key == "graph"]
    if len(graphs) != 1:
        raise ValueError("the file must hold one graph")
    topology = Topology({})
    for attributes in (dict(value) for key, value in graphs[0] if key == "node"):
        node = Node(int(attributes["id"]), attributes.get("label", "").strip(),
                    attributes.get("Network", "").strip(), "hyperedge" not in attributes)
        node.notes = read_notes(attributes)
        if node.id in topology.nodes:
            raise ValueError(f"two nodes have the id {node.id}")
        topology.nodes[node.id] = node
    topology.nodes = dict(sorted(topology.nodes.items()))
    for attributes in (dict(value) for key, value in graphs[0] if key == "edge"):
        add_link(topology, int(attributes["source"]), int(attributes["target"]))
    return topology


def read_notes(attributes):
    notes = {key: attributes.get(source, "").strip() for key, source in NOTES.items()}
    notes["city"] = SITE_NUMBER.sub("", notes["city"])
    return {key: text for key, text in notes.items() if text}


def add_link(topology, one, other):
    ends = topology.nodes[one], topology.nodes[other]
    if one == other:
        topology.self_loops += 1
    elif other in ends[0].neighbours:
        topology.parallel_links += 1
    else:
        ends[0].neighbours.add(other)
        ends[1].neighbours.add(one)


def assign_kinds(topology):
    for node in topology.nodes.values():
        if len(node.neighbours) != 1:
            continue
        neighbour = topology.nodes[next(iter(node.neighbours))]
        is_pair = len(neighbour.neighbours) == 1
        if not is_pair or neighbour.id < node.id:
            node.server = neighbour


def assign_centres(topology):
    """The two servers with the most neighbours, of those that have APs, get the centres."""
    hubs = [server for server in topology.servers() if topology.aps_of(server)]
    hubs.sort(key=lambda server: (-len(server.neighbours), server.id))
    for hub, application in zip(hubs, CENTRES):
        topology.aps_of(hub)[0].applications.append(application)


def assign_names(topology):
    """The label; where several nodes share it, with the network, then with a number behind it."""
    labels = {node.id: to_code_page(node.label or f"{node.network} node")
              for node in topology.nodes.values()}
    uses = Counter(label.lower() for label in labels.values())
    taken = {label for label in uses if uses[label] == 1}
    for node in topology.nodes.values():
        label = labels[node.id]
        if uses[label.lower()] == 1 and len(label.encode("cp1251")) <= NAME_BYTES:
            node.name = label
            continue
        network = f" ({to_code_page(node.network)})" if node.label else ""
        node.name = claim_name(label, network, taken)


def convert(text):
    topology = read_topology(text)
    assign_kinds(topology)
    assign_centres(topology)
    assign_names(topology)
    topology.networks = population.find_networks(topology.nodes)
    population.add_users(topology.networks)
    return topology


def quote(name):
    return '"' + name.replace("\\", "\\\\").replace('"', '\\"') + '"'


def render_list(key, names):
    return [f"    {key}:"] + [f"      - {quote(name)}" for name in names] if names else []


def render_notes(node, indent):
    pairs = ", ".join(f"{key}: {quote(text)}" for key, text in node.notes.items())
    return [f"{indent}notes: {{{pairs}}}"] if pairs else []


def render_server(topology, server):
    """Each link stands under the first of its servers."""
    yield f"  - name: {quote(server.name)}"
    yield from render_notes(server, "    ")
    yield from render_list("links", [topology.nodes[id].name for id in sorted(server.neighbours)
                                     if id > server.id and topology.nodes[id].is_server()])
    aps = topology.aps_of(server)
    if aps:
        yield "    aps:"
    for ap in aps:
        notes = render_notes(ap, "        ")
        if not ap.applications and not notes:
            yield f"      - {quote(ap.name)}"
            continue
        yield f"      - name: {quote(ap.name)}"
        yield from notes
        if ap.applications:
            yield f"        applications: [{', '.join(ap.applications)}]"


def render_dep(networks, network):
    """Each link stands under the first of its Deps."""
    yield f"  - name: {quote(network.dep)}"
    yield from render_list("links", [other.dep for other in networks[networks.index(network) + 1:]
                                     if other in network.neighbours])


def render_user(user):
    yield f"  - name: {quote(user.name)}"
    yield from render_list("deps", [network.dep for network in user.networks])
    if not user.places:
        return
    yield "    memberships:"
    collectives = [f"dep: {quote(network.dep)}, node: {quote(node.name)}"
                   for network, node in user.places]
    yield f"      - {{ {collectives[0]} }}"
    for collective in collectives[1:]:
        yield f"      - {{ {collective}, kind: {population.FURTHER_PLACE} }}"
    yield f"    primary: {{ {collectives[0]} }}"


def render(topology, network_number=NETWORK_NUMBER):
    lines = ["# Made by convert.py; README.md says from what and how.",
             f"network: 0x{network_number:04X}", "servers:"]
    for server in topology.servers():
        lines += render_server(topology, server)
    lines.append("groups:")
    for network in topology.networks:
        lines.append(f"  - name: {quote(network.name)}")
        lines += render_list("nodes", [node.name for node in network.nodes])
        lines += render_list("deps", [network.dep])
    lines.append("deps:")
    for network in topology.networks:
        lines += render_dep(topology.networks, network)
    lines.append("users:")
    for user in population.users_of(topology.networks):
        lines += render_user(user)
    return "\n".join(lines) + "\n"


def main(arguments):
    if len(arguments) not in (2, 3):
        sys.exit(__doc__)
    with open(arguments[1], encoding="utf-8") as file:
        topology = convert(file.read())
    number = int(arguments[2], 0) if len(arguments) == 3 else NETWORK_NUMBER
    sys.stdout.reconfigure(encoding="utf-8", newline="\n")
    sys.stdout.write(render(topology, number))
    servers = topology.servers()
    links = sum(len([n for n in s.neighbours if topology.nodes[n].is_server()]) for s in servers)
    isolated = sum(not server.neighbours for server in servers)
    print(f"{len(topology.nodes)} nodes: {len(servers)} servers ({isolated} without links), "
          f"{len(topology.nodes) - len(servers)} APs; {links // 2} server links; "
          f"{topology.parallel_links} parallel links merged, "
          f"{topology.self_loops} self-loops dropped", file=sys.stderr)
    users = population.users_of(topology.networks)
    print(f"{len(topology.networks)} networks, "
          f"{sum(len(network.neighbours) for network in topology.networks) // 2} pairs linked; "
          f"{len(users)} users, {sum(len(user.places) for user in users)} memberships; "
          f"{len(topology.nodes) - sum(len(network.nodes) for network in topology.networks)} nodes "
          "in no network", file=sys.stderr)


if __name__ == "__main__":
    main(sys.argv)
