#!/bin/sh
# Abi.sh [--record]: compares what libnvimport.so.1 offers to programs that are compiled (functions, layouts of
# public classes and records, virtual tables) with what was recorded beside this, of the last release; what
# is only added may be. --record writes down what there is now (docs/compatibility.md says when).
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/cmake/setup.sh"
command -v abidiff >/dev/null || {
  echo "skipped: no abidiff"
  exit 0
}
build=$root/build/abi
log=$build/abi.log
mkdir -p "$build"
. "$root/tests/install/functions.sh"

# Compiled fast, with all that debuggers know.
use_ccache
quiet cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DNVIMPORT_CLI=OFF -DNVIMPORT_DESKTOP=OFF \
  -DNVIMPORT_PYTHON=OFF -DNVIMPORT_R=OFF -DNVIMPORT_TESTS=OFF -DNVIMPORT_BENCH=OFF
quiet cmake --build "$build" --target nvimport
library=$build/lib/libnvimport.so.1
recorded=$root/tests/install/nvimport.abi.xz
if [ "${1:-}" = --record ]; then
  quiet abidw --exported-interfaces-only --headers-dir "$build/include" --drop-private-types --no-corpus-path \
    --no-comp-dir-path --no-show-locs --no-parameter-names --out-file "$build/nvimport.abi" "$library"
  xz -9e <"$build/nvimport.abi" >"$recorded"
  exit
fi
xz -d <"$recorded" >"$build/nvimport.abi"
quiet abidiff --no-added-syms --drop-private-types --headers-dir2 "$build/include" "$build/nvimport.abi" "$library"
