"""Who runs the networks: a node group and a Dep for each, and its users by their roles."""

from dataclasses import dataclass, field

from names import NAME_BYTES, claim_name, to_code_page

DEP_SUFFIX = " operations"
NOC, SECURITY, FIELD_SERVICE = " NOC", " security", " field service"
FURTHER_PLACE = 1  # the kind of every membership but that of the primary collective


@dataclass(eq=False)
class User:
    name: str
    networks: list  # in whose Deps the user is
    places: list  # (network, node); the first is the primary collective


@dataclass(eq=False)
class Network:
    name: str
    nodes: list = field(default_factory=list)
    gateways: list = field(default_factory=list)  # nodes with a link to another network
    neighbours: dict = field(default_factory=dict)  # networks, in the order of the gateways
    users: list = field(default_factory=list)

    @property
    def dep(self):
        return self.name + DEP_SUFFIX


def find_networks(nodes):
    """The networks in the order of their first nodes. Nodes of no network are in none, nor are
    points where lines meet."""
    room = NAME_BYTES - max(map(len, (DEP_SUFFIX, NOC, SECURITY, FIELD_SERVICE)))
    by_label, taken = {}, set()
    for node in nodes.values():
        if not node.network or not node.is_site:
            continue
        if node.network not in by_label:
            name = claim_name(to_code_page(node.network), "", taken, room)
            by_label[node.network] = Network(name)
        by_label[node.network].nodes.append(node)
    for label, network in by_label.items():
        for node in network.nodes:
            others = {nodes[id].network for id in sorted(node.neighbours)} - {label}
            linked = [by_label[other] for other in by_label if other in others]
            if linked:
                network.gateways.append(node)
                network.neighbours |= dict.fromkeys(linked)
    # Seen from one side alone: a link whose end on the other side is a point that is no site.
    for network in by_label.values():
        for other in network.neighbours:
            other.neighbours.setdefault(network)
    return list(by_label.values())


def by_links(nodes):
    """The node with the most neighbours first."""
    return sorted(nodes, key=lambda node: (-len(node.neighbours), node.id))


def add_users(networks):
    """A network of a single node is run by somebody else, of whom the map says nothing."""
    run = [network for network in networks if len(network.nodes) > 1]
    for network in run:
        servers = [node for node in network.nodes if node.is_server()] or network.nodes
        aps = [node for node in network.nodes if not node.is_server()]
        for role, nodes in ((NOC, servers), (SECURITY, network.gateways), (FIELD_SERVICE, aps)):
            network.users.append(User(network.name + role, [network],
                                      [(network, node) for node in by_links(nodes)]))
    for network in run:
        for provider in network.neighbours:
            if len(network.neighbours) == 1 and provider in run:
                provider.users[0].networks.append(network)
                provider.users[0].places += [(network, node) for node in network.gateways]


def users_of(networks):
    return [user for network in networks for user in network.users]
