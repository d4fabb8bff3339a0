#!/bin/sh
# Usage: build.sh PLUGIN-FOLDER STAGED-PREFIX OUTPUT-FOLDER
# Builds a model plugin against an installed tree that lies at STAGED-PREFIX for now.
set -eu
out=$(realpath "$3")
pc=$(find "$2" -name tarvelperimond.pc)
# The package's prefix is where it will be; here it is where it is staged.
sed "s|^prefix=.*|prefix=$2|" "$pc" >"$out/tarvelperimond.pc"
PKG_CONFIG_PATH=$out${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}
export PKG_CONFIG_PATH
exec make -s -B -C "$1" OUT="$out"
