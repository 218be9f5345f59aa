#!/usr/bin/env python3
"""Lets the two largest networks of network.yaml tell each other their structure.

    exchange.py [FOLDER]

Each gets a database of its own in the folder (default: demo/exchange), which must not hold
one yet, and an import folder that the other one writes into. Needs nccadm on the PATH.
"""

import json
import os
import subprocess
import sys

NETWORK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "network.yaml")
BLANK = "_"  # the files hold no blanks in names
NOT_CARRIED = ("settings", "value", "links")


def nccadm(*arguments, folder=None):
    done = subprocess.run(["nccadm", "--json", "--quiet", *arguments], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, cwd=folder, check=False)
    if done.returncode != 0:
        sys.exit(done.stderr.decode())
    return json.loads(done.stdout)


def create(database, number, description):
    nccadm("--db", database, "init", "--network", str(number))
    nccadm("--db", database, "apply", description)


def names(items, kept):
    return [item["name"] for item in items if item["name"] in kept]


def describe(database, number, group):
    """One research network; an AP at a server of another network becomes a server."""
    nodes = {node["name"] for node in group["nodes"]}
    dep = group["deps"][0]["name"]
    servers = []
    for server in nccadm("--db", database, "tree")["servers"]:
        aps = names(server["children"], nodes)
        if server["name"] in nodes:
            servers.append({"name": server["name"], "applications": server["applications"],
                            "links": names(server["links"], nodes), "aps": aps})
        else:
            servers += aps
    users = []
    for user in nccadm("--db", database, "user", "list")["users"]:
        primary = user["primary"]
        if primary is None or primary["dep"]["name"] != dep:
            continue
        memberships = [{"dep": dep, "node": one["node"]["name"], "kind": one["kind"]}
                       for one in user["memberships"] if one["dep"]["name"] == dep]
        users.append({"name": user["name"], "deps": [dep], "memberships": memberships,
                      "primary": {"dep": dep, "node": primary["node"]["name"]}})
    return {"network": number, "servers": servers, "deps": [dep], "users": users,
            "groups": [{"name": group["name"], "nodes": sorted(nodes), "deps": [dep]}]}


def flatten(tree):
    """Every node by its id, with all that the files carry."""
    nodes = {}
    for server in tree["servers"]:
        for node in [server, *server.pop("children")]:
            node["name"] = node["name"].replace(" ", BLANK)
            if "server" in node:
                node["server"]["name"] = node["server"]["name"].replace(" ", BLANK)
            nodes[node["id"]] = {key: node[key] for key in node if key not in NOT_CARRIED}
    return nodes


def main():
    folder = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "demo/exchange")
    os.makedirs(folder, exist_ok=True)
    whole = os.path.join(folder, "whole")
    create(whole, 0x1A, NETWORK)
    groups = nccadm("--db", whole, "group", "list")["groups"]
    groups.sort(key=lambda group: -len(group["nodes"]))
    partners = [(0x1B + i, os.path.join(folder, group["name"]), group)
                for i, group in enumerate(groups[:2])]
    for number, home, group in partners:
        os.makedirs(os.path.join(home, "DB", "IMPORT"))
        file = os.path.join(home, "network.yaml")
        with open(file, "w", encoding="utf-8") as description:
            json.dump(describe(whole, number, group), description, ensure_ascii=False)
        create(os.path.join(home, "net"), number, file)
    different = 0
    for (number, home, group), (_, reader, partner) in zip(partners, reversed(partners)):
        database = os.path.join(home, "net")
        nccadm("--db", database, "exchange", "write", "--out", os.path.join(reader, "DB", "IMPORT"),
               "--name", group["name"].replace(" ", BLANK), "--replace-blanks", BLANK)
        own = flatten(nccadm("--db", database, "tree"))
        seen = flatten(nccadm("exchange", "show", str(number), folder=reader))
        wrong = [node for node in own.keys() | seen.keys() if own.get(node) != seen.get(node)]
        different += len(wrong)
        print(f"{partner['name']} reads {group['name']}: {len(seen)} of {len(own)} nodes, "
              f"{len(wrong)} different")
    return 1 if different else 0


if __name__ == "__main__":
    sys.exit(main())
