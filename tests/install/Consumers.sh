#!/bin/sh
# Consumers.sh CMAKE BUILD SOURCE: installs the build, moves what was installed elsewhere, builds the
# hosts and the plug-in of examples/ and plugins/ against it as their own projects do, and reads
# samples through them and through NvImport Complete as it lies there.
set -eu
cmake=$1
build=$2
source=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log
export NVIMPORT_PLUGIN_PATH='' XDG_CONFIG_HOME="$work"
. "$source/tests/install/functions.sh"

# consumer FOLDER SETTING...: builds that of the source in $work/FOLDER.
consumer() {
  folder=$1
  shift
  quiet "$cmake" -S "$source/$folder" -B "$work/$folder" -DCMAKE_PREFIX_PATH="$work/prefix" "$@"
  quiet "$cmake" --build "$work/$folder"
}

quiet "$cmake" --install "$build" --prefix "$work/built"
mv "$work/built" "$work/prefix"
nvimport=$work/prefix/bin/nvimport
libraries=$(dirname "$(find "$work/prefix" -name libnvimport.so)")

# Each public header brings all that it includes, to either compiler, those of the C interface in C too.
include=$work/prefix/include
for header in $(cd "$include" && find nvimport -name '*.h'); do
  for compiler in g++ clang++; do
    command -v $compiler >/dev/null || continue
    printf '%s -std=c++20 -x c++ -fsyntax-only -Wall -Wextra -Werror -I%s -include %s /dev/null\n' \
      $compiler "$include" "$header"
  done
done >"$work/commands"
for header in NvImport Version; do
  echo "cc -std=c99 -pedantic -x c -fsyntax-only -Wall -Wextra -Werror -I$include \
    -include nvimport/framework/$header.h /dev/null"
done >>"$work/commands"
quiet xargs -P "$(nproc)" -d '\n' -n 1 sh -c <"$work/commands"
# Nothing of ours is there by another path, and a part of another project has the same.
same "$(ls "$include")" nvimport
same "$(for part in "$build"/include*; do (cd "$part" && find . ! -type d); done | sort)" "$(cd "$include" && find . ! -type d | sort)"

# The host in C.
tank='1,1: "Tank"
1,2: "Litres"
2,1: "T1"
2,2: 101
3,1: "T2"
3,2: 104
4,1: "T3"
4,2: 109
5,1: "Sum"
5,2: ""
Lotus 1-2-3 File: 5 rows, 2 columns, 3 numbers, 7 texts'
consumer examples/host/c
host=$work/examples/host/c/host-c
same "$("$host" "$source/samples/tanks.wk1")" "$tank"
same "$("$host" "$source/samples/barley.spc" range=1,3 | tail -n 1)" \
  "GalacticSPC File: 4 rows, 5 columns, 15 numbers, 5 texts"
same "$("$host" "$source/samples/batches.txt" ';' | tail -n 1)" \
  "Text File: 9 rows, 5 columns, 0 numbers, 38 texts"
same "$("$work/examples/host/c/sheets-c" "$source/samples/ovens.xls" | paste -sd ,)" "Runs,Settings"
if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH="$libraries/pkgconfig"
  # shellcheck disable=SC2046,SC2086 # lists of words
  quiet "${CC:-cc}" -std=c99 ${CFLAGS:-} "$source/examples/host/c/host.c" \
    $(pkg-config --cflags --libs nvimport) -o "$work/by-pkg-config"
  same "$(LD_LIBRARY_PATH=$libraries "$work/by-pkg-config" "$source/samples/tanks.wk1")" "$tank"
  same "nvimport $(pkg-config --modversion nvimport)" "$("$nvimport" --version)"
fi

# The host in C++: its sheet, the answer to its dialog, its log.
consumer examples/host/cpp
host=$work/examples/host/cpp/host
echo 2 | "$host" "$source/samples/ovens.xls" "$work/ovens.txt" 2>"$work/asked"
same "$(tr '\t' '|' <"$work/ovens.txt")" "Oven 1|0.85
Oven 2|1.1
Oven 3|0.97"
same "$(cat "$work/asked")" "Select Excel Worksheet
1 Runs
2 Settings
number?"
same "$("$host" "$source/samples/tanks.wk1" "$work/tanks.dif" 2>&1)" \
  "LotusFile, Note: 1 formula cell arrives empty"
same "$("$nvimport" convert "$work/tanks.dif" -o - | tail -n 2)" "T3,109
Sum,"

# The host in Qt, where the dialogs are: its table, after a user answered.
if [ -e "$include/nvimport/qt-dialogs" ]; then
  consumer examples/host/qt
  consumer tests/install/qt -DEXAMPLES="$source/examples"
  same "$(QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0 \
    "$work/tests/install/qt/qt-user" "$source/samples" 2>"$work/asked")" "Select Excel Worksheet: 12 x 5, Run
Text Import Wizard: 5 columns by semicolon, 9 x 5, Batch
Galactic SPC File Import Wizard: points 3 to 7, 4 x 7, Primary ID
Select Excel Worksheet: 12 rows"
fi

# The plug-in: two points from 1100 in steps of 2, one scan, 0.5 and 1.
consumer plugins/example
export NVIMPORT_PLUGIN_PATH="$work/plugins/example"
plugin=$work/plugins/example/ferrite.so
readelf -d "$plugin" | grep -q 'path: .[$]ORIGIN.$' ||
  fail "the plug-in does not look for libraries beside itself"
printf 'FRT1\2\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0\0\060\221\100\0\0\0\0\0\0\0\100' >"$work/scan.frt"
printf '\0\0\0\077\0\0\200\077' >>"$work/scan.frt"
same "$("$nvimport" formats | tail -n 1 | tr -s ' ' | cut -d ' ' -f 2-)" "Ferrite File .frt yes no $plugin"
same "$("$nvimport" convert "$work/scan.frt" -o -)" "1100,1102
0.5,1"
"$nvimport" check-plugin "$plugin" --file "$work/scan.frt" --strict >"$work/report"
# Whatever could not be checked or is missing has a line of another kind.
grep -v '^ok ' "$work/report" && fail "the plug-in does not keep to the contract"

complete=$(find "$work/prefix" -name nvimport-complete.so)
same "$(nm -D --defined-only "$complete" | grep -c ' T NvImport')" 17
same "$(nm -D --defined-only "$complete" | wc -l)" 17
"$nvimport" validate --strict "$source/samples/tanks.wk1"
"$nvimport" formats | grep -qF "$complete"
rm "$complete"
"$nvimport" validate --kept-rules "$source/samples/tanks.wk1"
"$nvimport" validate "$source/samples/tanks.wk1" 2>"$work/errors" &&
  fail "NvImport Complete is read where it is not"
grep -q "^nvimport: NvImport Complete is not there" "$work/errors"
