#!/usr/bin/env python3
"""Checks which files include which: no include points to a higher floor or to another room's internal/, no
circle of files, and each library sees only the other's public contract.

usage: includes.py [SOURCE_DIRECTORY]    exits with 1 after printing one line for each fault
"""
import re
import sys
from pathlib import Path

FLOORS = {
    "runtime": 1,
    "text": 2, "collections": 2, "codepages": 2,
    "errors": 3,
    "os": 4,
    "storage": 5, "net": 5,
    "convert": 6, "language": 6,
    "library": 7,
}
CONTRACT = re.compile(r"zuodbc/\w+\.h")  # the driver manager's public headers
CURSOR_ENTRY = "zulib/cursor/entry/cursorlib.h"


def room_of(path):
    """The library and the room of a path like zulib/os/files/bosfile.h: ("zulib", "os")."""
    parts = path.split("/")
    return parts[0], parts[1] if len(parts) > 2 else ""


def allowed(includer, included):
    """Why `includer` must not include `included`, or None."""
    library, room = room_of(includer)
    other_library, other_room = room_of(included)
    if "/internal/" in included:
        owner = included.split("/internal/")[0]
        if not includer.startswith(owner + "/"):
            return "is internal to " + owner
    if library == "zuodbc":
        if other_library == "zuodbc" or included == CURSOR_ENTRY or other_room in ("runtime", "codepages"):
            return None
        return "is not part of what the driver manager may see"
    if other_library == "zuodbc":
        if room == "cursor" and CONTRACT.fullmatch(included):
            return None
        return "belongs to the driver manager"
    if room == "cursor":
        return None if other_room in ("cursor", "runtime") else "is not below the cursor library"
    if other_room == "cursor":
        return None if room == "library" and included == CURSOR_ENTRY else "belongs to the cursor library"
    if FLOORS[other_room] > FLOORS[room]:
        return f"is on floor {FLOORS[other_room]}, above floor {FLOORS[room]}"
    return None


def circles(graph):
    """Every strongly connected set of two or more files."""
    index, low, stack, on_stack, found = {}, {}, [], set(), []

    def visit(node):
        index[node] = low[node] = len(index)
        stack.append(node)
        on_stack.add(node)
        for target in graph.get(node, ()):
            if target not in index:
                visit(target)
                low[node] = min(low[node], low[target])
            elif target in on_stack:
                low[node] = min(low[node], index[target])
        if low[node] == index[node]:
            members = []
            while True:
                member = stack.pop()
                on_stack.discard(member)
                members.append(member)
                if member == node:
                    break
            if len(members) > 1:
                found.append(sorted(members))

    sys.setrecursionlimit(10000)
    for node in graph:
        if node not in index:
            visit(node)
    return found


def unit(path):
    """A header and the .cpp of the same name are one unit; a circle of units is a circle."""
    return re.sub(r"\.(h|cpp)$", "", path)


def main():
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parents[2] / "src")
    faults, graph, count = [], {}, 0
    for source in sorted(root.rglob("*")):
        if source.suffix not in (".h", ".cpp"):
            continue
        includer = source.relative_to(root).as_posix()
        targets = graph.setdefault(unit(includer), set())
        for number, line in enumerate(source.read_text().splitlines(), 1):
            match = re.match(r'#include "(.+)"', line)
            if not match:
                continue
            count += 1
            included = match.group(1)
            if not (root / included).exists():
                faults.append(f"{includer}:{number}: {included} does not exist below {root.name}/")
                continue
            reason = allowed(includer, included)
            if reason:
                faults.append(f"{includer}:{number}: {included} {reason}")
            if unit(included) != unit(includer):
                targets.add(unit(included))
    for members in circles(graph):
        faults.append("circle: " + " ".join(members))
    print("\n".join(faults) if faults else f"{count} includes, each pointing down")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
