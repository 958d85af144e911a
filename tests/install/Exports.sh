#!/bin/sh
# Exports.sh LIBRARY [LIST]: prints what the library shows, demangled; with a LIST, only how the two
# differ. The list anew: tests/install/Exports.sh build/release/lib/libnvimport.so >cmake/exports.txt
set -eu
shown() { nm -DC --defined-only --without-symbol-versions "$1" | cut -c 20- | LC_ALL=C sort -u; }
if [ $# = 1 ]; then
  shown "$1"
  exit
fi
shown "$1" | diff -u "$2" - && exit
echo "The library shows something else than $2 says; if that is meant:"
echo "  tests/install/Exports.sh build/release/lib/libnvimport.so >cmake/exports.txt"
exit 1
