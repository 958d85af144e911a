#!/bin/sh
# What the pages show and list is what the installed package does and has.
# Pages.sh BUILD
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
export PREFIX
PREFIX=$(mktemp -d)
trap 'rm -rf "$PREFIX"' EXIT
cmake --install "$1" --prefix "$PREFIX" >"$PREFIX/log"
shift
"$root/tests/docs/check-pages" "$PREFIX/bin/nvimport" "$@" "$root/README.md" "$root"/docs/*.md
"$root/tests/docs/check-contents" "$PREFIX/bin/nvimport"
