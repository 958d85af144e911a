#!/bin/sh
# Subproject.sh CMAKE SOURCE BUILD: builds a program through a parent project in BUILD, which has
# NvImport as a part, and looks at what the parent then builds and installs.
set -eu
cmake=$1
source=$2
build=$3
log=$build.log
. "$source/tests/install/functions.sh"

rm -rf "$build/prefix"
quiet "$cmake" -S "$source/tests/install/subproject" -B "$build" -G Ninja \
  -DNVIMPORT_SOURCE="$source" -DCMAKE_BUILD_TYPE=Release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
quiet "$cmake" --build "$build" -j "$(nproc)"
grep 'Host.cpp.o ' "$build/compile_commands.json" | grep -qe '-W\|-fstack' &&
  fail "the parent's programs are compiled with NvImport's flags"
quiet "$cmake" --install "$build" --prefix "$build/prefix"
installed=$(cd "$build/prefix" && find . -type f)
[ "$installed" = ./bin/host ] || fail "the parent installs $installed"
quiet "$build/programs/host" "$source/samples/titration.dif" "$build/titration.txt"
got=$(tail -n 2 "$build/titration.txt" | tr '\t' '|')
[ "$got" = "NaOH|12.5|7.02
NaOH|25|" ] || fail "the parent's program gives $got"
