#!/bin/sh
# Usage: stage.sh BUILD-FOLDER DESTDIR STAMP
# Installs the headers into DESTDIR. Runs within a build, so it builds nothing.
set -eu
rm -rf "$2"
meson install -C "$1" --no-rebuild --quiet --tags devel --destdir "$2" >/dev/null
touch "$3"
