#!/bin/sh
# Static.sh CMAKE SOURCE BUILD PLUG-IN: builds hosts of the static library in BUILD, as a part of their
# project and found where it is installed, and lets them read: the built-in formats, those of NvImport
# Complete, which one is linked with, and a file of a plug-in that is linked to the shared library.
set -eu
cmake=$1
source=$2
build=$3
plugin=$4
log=$build.log
export XDG_CONFIG_HOME="$build" NVIMPORT_PLUGIN_PATH=''
. "$source/tests/install/functions.sh"

rm -rf "$build/prefix" "$build/found"
quiet "$cmake" -S "$source/tests/install/static" -B "$build" -G Ninja -DNVIMPORT_SOURCE="$source" \
  -DCMAKE_BUILD_TYPE=Release
quiet "$cmake" --build "$build" -j "$(nproc)"
quiet "$cmake" --install "$build" --prefix "$build/prefix"
quiet "$cmake" -S "$source/tests/install/static" -B "$build/found" -G Ninja \
  -DCMAKE_PREFIX_PATH="$build/prefix"
quiet "$cmake" --build "$build/found"

echo worksheets >"$build/x.ask"
formats=$(sed -n 's/^  As<.*/x/p' "$source/nvimport/formats/BuiltInFactories.h" | wc -l)
for hosts in "$build" "$build/found"; do
  quiet "$hosts/class-host" "$source/samples"
  same "$("$hosts/c-host" "$source/samples/tanks.wk1" | tail -n 1)" \
    "Lotus 1-2-3 File: 5 rows, 2 columns, 3 numbers, 7 texts"
  same "$("$hosts/driver-host" "$source/samples/tanks.wk1" "$source/samples/tablets.dat")" \
    "$formats formats, $formats in the list
''
1.05403"
  same "$("$hosts/complete-host" "$source/samples/tanks.wk1")" "$formats formats, $((formats + 2)) in the list
310"
  # The plug-in brings the shared library: nobody answers the questions that go there.
  same "$(NVIMPORT_PLUGIN_PATH=$plugin "$hosts/complete-host" "$build/x.ask" "$source/samples/tanks.wk1")" \
    "$formats formats, $((formats + 3)) in the list
status 2049
310"
done

# Beside the program is where its file lies, whatever the working folder holds under its name.
mkdir -p "$build/elsewhere"
cp "$plugin/plugin.so" "$build/elsewhere"
: >"$build/elsewhere/driver-host"
same "$(cd "$build/elsewhere" && PATH=$build:$PATH driver-host)" "$formats formats, $formats in the list"

# Nothing of the library is shown by a program that it is a part of.
shown=$(nm -D --defined-only "$build/complete-host" | grep -i nvimport || true)
same "$shown" ""
if command -v pkg-config >/dev/null; then
  library=$(dirname "$(find "$build/prefix" -name libnvimport.a)")
  export PKG_CONFIG_PATH="$library/pkgconfig"
  # shellcheck disable=SC2046 # a list of words
  quiet "${CC:-cc}" -std=c99 "$source/examples/host/c/host.c" \
    $(pkg-config --cflags --libs nvimport) -o "$build/by-pkg-config"
  same "$("$build/by-pkg-config" "$source/samples/tanks.wk1" | tail -n 1)" \
    "Lotus 1-2-3 File: 5 rows, 2 columns, 3 numbers, 7 texts"
fi
