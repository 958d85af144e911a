#!/bin/sh
# PluginExample.sh CMAKE BUILD SOURCE: installs the build, builds the plug-in example against what was
# installed as its own project does, and reads a file through it.
set -eu
cmake=$1
build=$2
source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$cmake" --install "$build" --prefix "$work/prefix" >"$work/log"
"$cmake" -S "$source/plugins/example" -B "$work/example" -DCMAKE_PREFIX_PATH="$work/prefix" >>"$work/log"
"$cmake" --build "$work/example" >>"$work/log"
readelf -d "$work/example/ferrite.so" | grep -qF 'path: [$ORIGIN]' || {
  echo "the plug-in does not look for libraries beside itself"
  exit 1
}

export NVIMPORT_PLUGIN_PATH="$work/example" XDG_CONFIG_HOME="$work"
nvimport=$work/prefix/bin/nvimport
same() {
  [ "$1" = "$2" ] && return
  printf 'got\n%s\nnot\n%s\n' "$1" "$2"
  exit 1
}
# Two points from 1100 in steps of 2, one scan: 0.5 and 1.
printf 'FRT1\2\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\060\221\100\0\0\0\0\0\0\0\100' >"$work/scan.frt"
printf '\0\0\0\077\0\0\200\077' >>"$work/scan.frt"
same "$("$nvimport" formats | tail -1 | tr -s ' ')" \
  "20 Ferrite File .frt yes no $work/example/ferrite.so"
same "$("$nvimport" convert "$work/scan.frt" -o -)" "1100,1102
0.5,1"

"$nvimport" check-plugin "$work/example/ferrite.so" --file "$work/scan.frt" --strict >"$work/report"
# Whatever could not be checked or is missing has a line of another kind.
! grep -v '^ok ' "$work/report"
