"""Calls keep to the plan of rooms as includes do: rooms_test.py NM OBJECT... of the library.

Prints every symbol that is used in a room which may not see the one that defines it.
"""

import subprocess
import sys

from style_test import find_allowed, may_see, room_of


def main():
    nm, *objects = sys.argv[1:]
    objects = [path for path in objects if path.endswith(".o")]  # not the precompiled header
    listing = subprocess.check_output([nm, "-A", "-P", *objects], text=True)
    rooms, uses = {}, set()
    for line in listing.splitlines():
        path, symbol, kind = line.split()[:3]
        room = room_of(path.split(".dir/")[1].removeprefix("./"))
        if kind == "U":
            uses.add((room, symbol))
        elif kind in "BDRT":  # not what every object has a copy of
            rooms[symbol] = room
    violations = [f"{room}/ may not use what {rooms[symbol]}/ defines: {symbol}"
                  for room, symbol in sorted(uses) if symbol in rooms and
                  not any(may_see(allowed, rooms[symbol]) for allowed in find_allowed(room))]
    print("\n".join(violations))
    sys.exit(bool(violations) or not rooms)


if __name__ == "__main__":
    main()
