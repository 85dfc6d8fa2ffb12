#!/usr/bin/env python3
"""Checks the layering of the source folders.

Reads the folders and the folders each may use ("folder=dep,dep" lines written by CMake at
configure time) and fails when
  - the folders depend on each other in a circle, or
  - a file in a folder includes a project header from a folder that is neither its own nor one
    it depends on, directly or through its dependencies.

Usage: check_layers.py LAYERS_FILE SOURCE_ROOT
"""
import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def read_layers(path):
    layers = {}
    for line in pathlib.Path(path).read_text().splitlines():
        if not line.strip():
            continue
        folder, _, deps = line.partition("=")
        layers[folder] = [d for d in deps.split(",") if d]
    return layers


def find_cycle(layers):
    state = {}

    def visit(node, trail):
        state[node] = "open"
        for dep in layers.get(node, []):
            if state.get(dep) == "open":
                return trail + [node, dep]
            if dep not in state:
                found = visit(dep, trail + [node])
                if found:
                    return found
        state[node] = "done"
        return None

    for node in layers:
        if node not in state:
            found = visit(node, [])
            if found:
                return found
    return None


def closure(layers, folder):
    seen, stack = set(), list(layers.get(folder, []))
    while stack:
        dep = stack.pop()
        if dep not in seen:
            seen.add(dep)
            stack.extend(layers.get(dep, []))
    return seen


def main(argv):
    if len(argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    layers = read_layers(argv[1])
    root = pathlib.Path(argv[2])
    problems = []
    cycle = find_cycle(layers)
    if cycle:
        problems.append("folders depend on each other in a circle: " + " -> ".join(cycle))
    for unknown in sorted({d for deps in layers.values() for d in deps} - layers.keys()):
        problems.append(f"{unknown} is used but declares no library")
    for folder in sorted(layers):
        allowed = closure(layers, folder) | {folder}
        for source in sorted((root / folder).glob("*")):
            if source.suffix not in (".h", ".cpp"):
                continue
            for header in INCLUDE.findall(source.read_text(errors="replace")):
                target = str(pathlib.PurePosixPath(header).parent)
                if target in layers and target not in allowed:
                    problems.append(f"{source.relative_to(root)} includes {header}, but {folder} "
                                    f"does not depend on {target}")
        for stray in sorted(p for p in (root / folder).rglob("*") if p.is_dir()):
            problems.append(f"{stray.relative_to(root)} is a folder inside a layer; give it its "
                            "own library")
    undeclared = sorted(
        str(p.parent.relative_to(root)) for top in ("CleanerCore", "VelmoraUI", "Velmora")
        for p in (root / top).rglob("*.cpp")
        if str(p.parent.relative_to(root)) not in layers and p.name != "main.cpp")
    for folder in sorted(set(undeclared)):
        problems.append(f"{folder} holds sources but declares no library")
    for problem in problems:
        print(problem)
    if not problems:
        print(f"{len(layers)} folders, no circles, every include within its folder's dependencies")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
