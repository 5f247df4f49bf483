#!/usr/bin/env python3
"""Checks that every file of src/ includes only from its own floor or a floor below, and that no includes circle."""

import pathlib
import re
import sys

FLOORS = [
    ["base"],
    ["platform"],
    ["properties"],
    ["script", "image", "profile"],
    ["canvas"],
    ["cli", "modules"],
]
LEVEL = {room: level for level, rooms in enumerate(FLOORS) for room in rooms}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def room(path):
    return path.split("/", 1)[0]


def climbs(path, included):
    """Whether `path` reaches up, or into a neighbour's room on its own floor."""
    if room(path) == room(included):
        return False
    return LEVEL[room(included)] >= LEVEL[room(path)]


def circle(graph):
    """A list of files that include each other in a circle, or None."""
    done, path = set(), []

    def visit(node):
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        path.append(node)
        for following in graph.get(node, []):
            found = visit(following)
            if found:
                return found
        path.pop()
        done.add(node)
        return None

    for node in sorted(graph):
        found = visit(node)
        if found:
            return found
    return None


def main():
    src = pathlib.Path(__file__).resolve().parent.parent / "src"
    graph, failed = {}, False
    for file in sorted([*src.rglob("*.h"), *src.rglob("*.cpp")]):
        name = file.relative_to(src).as_posix()
        graph[name] = [target for target in INCLUDE.findall(file.read_text()) if (src / target).exists()]
        for target in graph[name]:
            # A file that includes itself is SIMD code compiled once per target.
            if target != name and climbs(name, target):
                print(f"check-floors: src/{name} includes {target}, which is not below it", file=sys.stderr)
                failed = True
        graph[name] = [target for target in graph[name] if target != name]
    found = circle(graph)
    if found:
        print("check-floors: a circle of includes: " + " -> ".join(found), file=sys.stderr)
        failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
