"""Debian packages of the other architecture, fetched without root and without installing them.

A package state of our own inside the build folder resolves the newest versions at the time of the
first build; what was resolved and fetched is kept and used again until an update is asked for.
"""

import fnmatch
import json
import os
import shutil
import subprocess

from .common import HERE, BoardError, run, say, word_list

EXCLUDED = ["./usr/share/doc", "./usr/share/man", "./usr/share/info", "./usr/share/locale",
            "./usr/share/lintian", "./usr/share/bash-completion", "./usr/share/zsh",
            "./usr/share/bug", "./usr/share/i18n", "./usr/share/gtk-doc", "*/gconv", "*/hwdb.d"]


class Packages:
    def __init__(self, folder):
        self.top = folder.packages
        self.files = self.top / "files"
        self.known = self.top / "resolved.json"
        self.index = self.top / "state/is-there"
        # This machine's own architecture is for the tools that build kernel modules.
        self.own = run(["dpkg", "--print-architecture"]).strip()
        self.options = ["-q", "-o", "APT::Architecture=arm64",
                        "-o", f"APT::Architectures=arm64,{self.own}",
                        "-o", f"Dir::State={self.top}/state",
                        "-o", f"Dir::State::status={self.top}/state/status",
                        "-o", f"Dir::Cache={self.top}/state",
                        "-o", "APT::Install-Recommends=false",
                        "-o", f"APT::Sandbox::User={os.environ.get('USER', 'root')}",
                        "-o", "Acquire::Languages=none"]
        self.resolved = json.loads(self.known.read_text()) if self.known.exists() else {}

    def update(self):
        """Fetches the newest package index."""
        release = dict(line.rstrip().split("=", 1) for line in open("/etc/os-release")
                       if "=" in line).get("VERSION_CODENAME", "")
        if release.strip('"') != "bookworm":
            raise BoardError("The board's image is made of the packages that this machine's apt "
                             "knows, and they must be those of Debian 12 (bookworm).")
        say("board: asking the package registry for current versions")
        for name in "lists/partial", "archives/partial":
            (self.top / "state" / name).mkdir(parents=True, exist_ok=True)
        (self.top / "state/status").touch()
        self.files.mkdir(exist_ok=True)
        done = subprocess.run(["apt-get", *self.options, "-o", "APT::Update::Error-Mode=any",
                               "-o", "Acquire::Retries=2", "update"],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise BoardError("The package registry cannot be reached, and what the board needs is "
                             f"not in {self.top}:\n{done.stdout[-2000:]}\n"
                             "Connect this machine (or set apt's proxy) and try again, or copy the "
                             "folder from a machine where the board was built.")
        self.index.touch()
        self.resolved = {}

    def fetch(self, purpose, wanted, left_out=()):
        """Returns the package files of @wanted and all that they depend on."""
        key = f"{purpose}: {' '.join(sorted(wanted))} - {' '.join(sorted(left_out))}"

        def choose():
            chosen = []
            for line in run(["apt-get", *self.options, "-s", "install", *wanted]).splitlines():
                # Inst NAME (VERSION ORIGIN [ARCHITECTURE])
                word, name, rest = (line + "  ").split(" ", 2)
                if word == "Inst" and not any(fnmatch.fnmatch(name, p) for p in left_out):
                    chosen.append(f"{name}={rest.lstrip('(').split(' ', 1)[0]}")
            return chosen

        return self._fetch(key, purpose, choose)

    def fetch_kernel(self):
        """Returns the newest kernel's package, and those that its modules are built with: headers,
        headers that all architectures share, and tools that run on this machine."""
        def depends(package):
            return [line.split()[1] for line in
                    run(["apt-cache", *self.options, "depends", package]).splitlines()
                    if line.strip().startswith("Depends:")]

        def choose():
            kernel = next(iter(depends("linux-image-arm64")), None)
            if kernel is None:
                raise BoardError("linux-image-arm64 is not in the package index")
            headers = kernel.replace("image", "headers", 1)
            needed = depends(headers)
            common = next(name for name in needed if name.endswith("-common"))
            tools = next(name for name in needed if name.startswith("linux-kbuild-"))
            return [kernel, headers, common, f"{tools.split(':')[0]}:{self.own}"]

        files = self._fetch("the kernel", "the kernel and its modules", choose)
        kernel = next(file for file in files if file.name.startswith("linux-image-"))
        return kernel, [file for file in files if file != kernel]

    def _fetch(self, key, purpose, choose):
        names = self.resolved.get(key)
        if names is None or not all((self.files / name).exists() for name in names):
            fresh = not self.index.exists()
            if fresh:
                self.update()
            try:
                names = self._download(purpose, choose())
            except BoardError:
                if fresh:
                    raise
                # The registry has newer versions by now and no longer those of our index.
                self.update()
                names = self._download(purpose, choose())
            self.resolved[key] = names
            self.known.write_text(json.dumps(self.resolved, indent=1))
        return [self.files / name for name in names]

    def _download(self, purpose, chosen):
        uris = run(["apt-get", *self.options, "--print-uris", "download", *chosen])
        names = [line.split()[1] for line in uris.splitlines() if line.startswith("'")]
        absent = {name.split("_")[0] for name in names if not (self.files / name).exists()}
        missing = [package for package in chosen
                   if package.split("=")[0].split(":")[0] in absent]
        if missing:
            say(f"board: fetching {len(missing)} packages for {purpose}")
            run(["apt-get", *self.options, "-o", "Acquire::Retries=2", "download", *missing],
                cwd=self.files)
        if len(names) != len(chosen) or not all((self.files / name).exists() for name in names):
            raise BoardError(f"Not every package for {purpose} could be fetched.")
        return names


def unpack(files, target, excluded=EXCLUDED):
    """Lays the content of package files over @target, which has the merged /usr of Debian 12."""
    shutil.rmtree(target, ignore_errors=True)
    for name in "bin", "sbin", "lib":
        (target / "usr" / name).mkdir(parents=True)
        (target / name).symlink_to(f"usr/{name}")
    for package in files:
        # Not dpkg-deb -x: it replaces the links above by folders.
        with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", str(package)],
                              stdout=subprocess.PIPE) as data:
            run(["tar", "-x", "-p", "--no-same-owner", "-C", target, "--keep-directory-symlink",
                 *[f"--exclude={pattern}" for pattern in excluded]], stdin=data.stdout)
        if data.returncode != 0:
            raise BoardError(f"{package} is damaged; remove it and build again")


def lists(purpose):
    """The wanted and the left out packages of a list in image/."""
    prefix = "" if purpose == "image" else purpose + "-"
    return (word_list(HERE / f"image/{prefix}packages"), word_list(HERE / f"image/{prefix}left-out"))
