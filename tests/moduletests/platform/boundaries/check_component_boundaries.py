#!/usr/bin/env python3
"""Checks that every platform component includes only its own headers and those of the components it depends on.

The components, their headers and their dependencies are read from the manifest the platform's CMakeLists.txt
writes at configure time (one line per component: name|headers|depends|sources), so the build and this check
cannot disagree. A header belongs to the component whose HEADERS name it or a folder above it, whichever root
(include/ or control/include/) it lies under. Includes in quotes that are not platform headers (private headers
next to a source, "detail/..." under src/) are left to the compiler.

Usage: check_component_boundaries.py MANIFEST PLATFORM_DIR
"""
import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def read_manifest(path):
    components = {}
    for line in Path(path).read_text().splitlines():
        if not line.strip():
            continue
        name, headers, depends, sources = line.split("|")
        components[name] = {
            "headers": [h for h in headers.split(";") if h],
            "depends": [d for d in depends.split(";") if d],
            "sources": [s for s in sources.split(";") if s],
        }
    return components


def owner_of(header, components):
    best, best_len = None, -1
    for name, component in components.items():
        for owned in component["headers"]:
            if (header == owned or header.startswith(owned + "/")) and len(owned) > best_len:
                best, best_len = name, len(owned)
    return best


def reachable(name, components):
    seen, todo = set(), [name]
    while todo:
        current = todo.pop()
        if current in seen:
            continue
        seen.add(current)
        todo.extend(components[current]["depends"])
    return seen


def main():
    manifest, platform = sys.argv[1], Path(sys.argv[2])
    components = read_manifest(manifest)
    problems = []
    for name, component in components.items():
        allowed = reachable(name, components)
        files = [platform / s for s in component["sources"]]
        for root in (platform / "include", platform / "control" / "include"):
            for owned in component["headers"]:
                target = root / owned
                if target.is_dir():
                    files.extend(sorted(target.rglob("*.h")))
                elif target.is_file():
                    files.append(target)
        for path in files:
            text = path.read_text()
            for match in INCLUDE.finditer(text):
                included = match.group(1)
                owner = owner_of(included, components)
                if owner is not None and owner not in allowed:
                    line = text.count("\n", 0, match.start()) + 1
                    problems.append(f"{path.relative_to(platform.parent)}:{line}: component '{name}' includes "
                                    f"\"{included}\" of '{owner}', which it does not depend on")
    for problem in problems:
        print(problem)
    checked = sum(len(c["sources"]) for c in components.values())
    print(f"{len(components)} components, {checked} sources: {len(problems)} include(s) across a boundary")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
