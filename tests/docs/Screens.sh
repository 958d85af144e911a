#!/bin/sh
# Screens.sh BUILD: takes the pictures of docs/desktop.md anew.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
ctest --test-dir "$1" --no-tests=error -R '^desktop-screens$' >&2
mkdir -p "$root/docs/images"
for name in spectra text; do
  cp "$1/screens/$name.png" "$root/docs/images/desktop-$name.png"
done
