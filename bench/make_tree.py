#!/usr/bin/env python3
"""Builds the scan benchmark's synthetic tree: about 300,000 files in about 2,000 folders spread
over 20 top-level buckets, with hard links across buckets, sparse files, names that are not UTF-8,
files directly at the root, and symbolic links to a large folder and back to the root (which no
walker may follow). Deterministic: the same seed gives the same tree.

    make_tree.py ROOT           the tree above
    make_tree.py --wide N ROOT  one folder, ROOT/folder, of N files instead (every tenth holds a few
                                bytes): a folder below the root, as a walk meets it"""
import os
import random
import sys

BUCKETS = 20
FOLDERS_PER_BUCKET = 100
FILES_PER_FOLDER = 150
CROSS_LINKS = 2000


def size_of(rng):
    roll = rng.random()
    if roll < 0.50:
        return rng.randint(0, 100)
    if roll < 0.90:
        return rng.randint(100, 4096)
    if roll < 0.99:
        return rng.randint(4096, 32768)
    return rng.randint(32768, 131072)


def main(root):
    rng = random.Random(20261121)
    chunk = os.urandom(131072)
    os.makedirs(root, exist_ok=True)
    files = []
    for b in range(BUCKETS):
        for d in range(FOLDERS_PER_BUCKET):
            # Every fifth folder sits one level deeper, so the walk has some depth to it.
            folder = os.path.join(root, "b%02d" % b, "d%03d" % (d - d % 5), "" if d % 5 == 0 else "sub%d" % (d % 5))
            os.makedirs(folder, exist_ok=True)
            for f in range(FILES_PER_FOLDER):
                path = os.path.join(folder, "f%03d.dat" % f)
                fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
                if rng.random() < 0.02:
                    os.ftruncate(fd, 1 << 20)  # sparse: a megabyte long, nothing allocated
                else:
                    os.write(fd, chunk[: size_of(rng)])
                os.close(fd)
                files.append((b, path))
    for i in range(CROSS_LINKS):
        b, target = files[rng.randrange(len(files))]
        other = (b + 7) % BUCKETS
        os.link(target, os.path.join(root, "b%02d" % other, "d000", "link%04d.dat" % i))
    odd = os.path.join(root.encode(), b"b05", b"caf\xe9-\xff")
    os.makedirs(odd, exist_ok=True)
    for i in range(20):
        with open(os.path.join(odd, b"n\xfe%d" % i), "wb") as out:
            out.write(chunk[:3000])
    for i in range(5):
        with open(os.path.join(root, "root-file-%d.bin" % i), "wb") as out:
            out.write(chunk[: 10000 * (i + 1)])
    os.symlink("../../b01", os.path.join(root, "b00", "d000", "link-to-b01"))
    os.symlink(os.path.abspath(root), os.path.join(root, "b02", "d000", "link-to-root"))
    os.symlink("b03", os.path.join(root, "link-to-b03"))


def wide(root, count):
    folder = os.path.join(root, "folder")
    os.makedirs(folder, exist_ok=True)
    for i in range(count):
        fd = os.open(os.path.join(folder, "e%07d" % i), os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o644)
        if i % 10 == 0:
            os.write(fd, b"w" * (i % 5000 + 1))
        os.close(fd)


if __name__ == "__main__":
    if sys.argv[1] == "--wide":
        wide(sys.argv[3], int(sys.argv[2]))
    else:
        main(sys.argv[1])
