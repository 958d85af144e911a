#!/bin/sh
# Reproducible.sh [TARGET...]: builds the last commit twice, with what may not be seen in what comes out being
# other: the folder, the time, the umask, the locale, the time zone, the home folder; and compares the bytes
# of the targets' files (the library, NvImport Complete, the command, its pages) and the tarball. What another
# compiler makes is another thing. Takes two builds without ccache.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
[ $# -gt 0 ] || set -- nvimport nvimport-complete nvimport-cli nvimport-pages-made
there=$(mktemp -d)
trap 'rm -rf "$there"' EXIT
log=$there/log
. "$root/tests/install/functions.sh"

# build FOLDER TARGET...: of a copy of the sources.
build() {
  folder=$1
  shift
  mkdir -p "$folder"
  git clone -q "$root" "$folder/source"
  (
    cd "$folder/source"
    cmake -S . -B made -G Ninja -DCMAKE_BUILD_TYPE=Release -DNVIMPORT_TESTS=OFF -DNVIMPORT_BENCH=OFF \
      -DNVIMPORT_PYTHON=OFF -DNVIMPORT_R=OFF
    cmake --build made --target "$@"
    cmake/release --draft made/dist
  )
}
export CCACHE_DISABLE=1
unset SOURCE_DATE_EPOCH CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
(umask 022 && LC_ALL=C TZ=UTC quiet build "$there/a" "$@")
mkdir "$there/locales"
localedef -i tr_TR -f UTF-8 "$there/locales/tr_TR.UTF-8"
(umask 077 && LOCPATH=$there/locales LC_ALL=tr_TR.UTF-8 TZ=Asia/Tokyo HOME=$there/b quiet build "$there/b/further/down" "$@")
a=$there/a/source/made
b=$there/b/further/down/source/made

cd "$a"
find bin lib apps/nvimport/pages dist -type f ! -name '*.buildinfo' ! -name '*.changes' ! -name '*.yaml' \
  ! -path '*/packaging/*' | LC_ALL=C sort >"$there/files"
while read -r file; do
  cmp "$file" "$b/$file" || echo "$file" >>"$there/other"
done <"$there/files"
[ ! -s "$there/other" ] || fail "these are not the same twice: $(paste -sd ' ' "$there/other")"
echo "$(wc -l <"$there/files") files, the same twice"
