"""What all parts of the tool share: where things lie, running programs, reporting failures."""

import hashlib
import json
import os
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent.parent
SOURCE = HERE.parent.parent

# depmod, modprobe, mke2fs and their like are not in every user's path
os.environ["PATH"] += ":/usr/sbin:/sbin"
os.environ["LC_ALL"] = "C.UTF-8"


class BoardError(Exception):
    """A failure with a message for the user."""


def missing(error):
    """The failure that a program is not there, told by what brings it."""
    return BoardError(f"{error.filename} is missing; tools/install-packages tools/packages-build "
                      "tools/packages-board installs what the board needs")


def say(text):
    print(text, file=sys.stderr, flush=True)


def run(command, **options):
    """Runs a program whose output matters only if it fails; returns its standard output."""
    try:
        done = subprocess.run([str(word) for word in command], text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, **options)
    except FileNotFoundError as error:
        raise missing(error) from None
    if done.returncode != 0:
        raise BoardError(f"{' '.join(map(str, command))[:300]}: exit status {done.returncode}\n"
                         f"{(done.stdout + done.stderr)[-3000:]}")
    return done.stdout


def word_list(path):
    """The words of a list file, without its comments."""
    return [word for line in path.read_text().splitlines() for word in line.split("#")[0].split()]


def digest(*things):
    """One short name for the content of files, folders and plain values."""
    total = hashlib.sha256()
    for thing in things:
        if not isinstance(thing, pathlib.Path):
            total.update(json.dumps(thing, sort_keys=True).encode())
            continue
        found = sorted(thing.rglob("*")) if thing.is_dir() else [thing]
        for path in found:
            if path.is_symlink():
                total.update(f"{path.relative_to(thing)}>{os.readlink(path)}".encode())
            elif path.is_file():
                total.update(f"{path.name}:{path.stat().st_mode:o}:".encode() + path.read_bytes())
    return total.hexdigest()[:16]


class Stamp:
    """Remembers from what a made thing was made, so that it is made again only when that changes."""

    def __init__(self, path, *made_from):
        self.path = path.with_name(path.name + ".made-from")
        self.key = digest(*made_from)

    def fits(self):
        return self.path.exists() and self.path.read_text() == self.key

    def set(self):
        self.path.write_text(self.key)


class Folder:
    """The build folder: everything that the tool makes or downloads lies in it."""

    def __init__(self, path):
        self.top = pathlib.Path(path).resolve()
        # The image has programs of another system that run as their owner, the boards open sockets.
        self.top.mkdir(mode=0o700, parents=True, exist_ok=True)
        self.packages = self.top / "packages"
        self.image = self.top / "image"
        self.sysroot = self.top / "sysroot"
        self.product = self.top / "product"
        self.snapshots = self.top / "snapshots"

    def board(self, name):
        return self.top / "boards" / name
