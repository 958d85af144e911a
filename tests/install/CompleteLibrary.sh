#!/bin/sh
# CompleteLibrary.sh CMAKE BUILD SOURCE: installs the build, and reads a file through NvImport Complete
# as it lies there.
set -eu
cmake=$1
build=$2
source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$cmake" --install "$build" --prefix "$work/prefix" >"$work/log"
library=$(find "$work/prefix" -name nvimport-complete.so)
shown=$(nm -D --defined-only "$library" | grep -v ' T NvImport' || true)
if [ -n "$shown" ] || [ "$(nm -D --defined-only "$library" | wc -l)" != 12 ]; then
  echo "it shows more than the twelve functions: $shown"
  exit 1
fi

export NVIMPORT_PLUGIN_PATH= XDG_CONFIG_HOME="$work"
nvimport=$work/prefix/bin/nvimport
"$nvimport" validate --complete --strict "$source/samples/tanks.wk1"
"$nvimport" formats --complete | grep -qF "$library"
rm "$library"
! "$nvimport" validate --complete "$source/samples/tanks.wk1" 2>"$work/errors"
grep -q "^nvimport: NvImport Complete is not there" "$work/errors"
