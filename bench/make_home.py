#!/usr/bin/env python3
"""Builds the build-folder benchmark's synthetic home: about FILES files (default 1,000,000) in a
developer's layout. Half of the files sit in projects: Node projects with node_modules, Rust
crates with target/, CMake projects with build/CMakeCache.txt, each with its sources beside; some
artifact-named folders lack their marker; hidden application folders hold node_modules of their
own. The other half are documents, photos and mail in ordinary folders. Every entry is dated three
hours back, so the recent-write check walks every build folder to its end (the costly case).
Files are empty: the walk reads names, not bytes. Deterministic: the same seed gives the same home."""
import os
import random
import sys
import time

FILES_PER_FOLDER = 50


def make_files(folder, count, prefix="f"):
    os.makedirs(folder, exist_ok=True)
    for i in range(count):
        open(os.path.join(folder, "%s%03d" % (prefix, i)), "wb").close()
    return count


def make_tree(folder, files, rng):
    """About `files` files below `folder`, FILES_PER_FOLDER per folder, two to four levels deep."""
    made = 0
    n = 0
    while made < files:
        depth = rng.randint(1, 3)
        path = os.path.join(folder, *("p%d" % (n // (8 ** k) % 8) for k in range(depth)), "n%d" % n)
        made += make_files(path, min(FILES_PER_FOLDER, files - made))
        n += 1
    return made


def main(home, total):
    rng = random.Random(20261122)
    made = 0
    projects = os.path.join(home, "code")
    kinds = [("node_modules", "package.json", False), ("target", "Cargo.toml", False), ("build", "CMakeCache.txt", True)]
    p = 0
    while made < total // 2:
        folder, marker, inside = kinds[p % len(kinds)]
        project = os.path.join(projects, "proj%04d" % p)
        made += make_tree(os.path.join(project, "src"), 200, rng)
        made += make_tree(os.path.join(project, folder), 1500, rng)
        proven = p % 5 != 4  # every fifth artifact-named folder has no marker
        if proven:
            open(os.path.join(project, folder, marker) if inside else os.path.join(project, marker), "wb").close()
        p += 1
    for app in range(20):
        made += make_tree(os.path.join(home, ".config", "app%02d" % app, "node_modules"), 2000, rng)
    share = max(0, total - made) // 4 + 1
    for area in ("Documents", "Pictures", "Mail", "Music"):
        made += make_tree(os.path.join(home, area), share, rng)
    old = time.time() - 3 * 3600
    for root, dirs, files in os.walk(home):
        for name in files:
            os.utime(os.path.join(root, name), (old, old))
    for root, dirs, files in os.walk(home, topdown=False):
        os.utime(root, (old, old))
    print("%d files, %d projects" % (made, p))


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 1000000)
