#!/bin/sh
# Packages.sh: makes the Debian packages in build/package, lets lintian judge them and looks into
# them. Nothing is installed.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
. "$root/cmake/setup.sh"
for tool in dpkg-deb dpkg-shlibdeps lintian; do
  command -v $tool >/dev/null || {
    echo "skipped: no $tool"
    exit 0
  }
done
log=cpack.log
. "$root/tests/install/functions.sh"

build package
cd "$root/build/package"
rm -rf ./*.deb root
quiet cpack
# The packages are not meant for an archive whose bugs they could close, and samples have old encodings.
lintian --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs,national-encoding \
  ./*.deb 2>lintian.log || fail "$(cat lintian.log)"

# holds PACKAGE DEPENDS FILES: what it depends on, and its files but headers and what explains them,
# which ends with its changelogs and licence.
holds() {
  dpkg-deb -x "$1"_*.deb root
  dpkg-deb -f "$1"_*.deb Depends | sed 's/ (>= [^)]*)//g' >got
  dpkg-deb -c "$1"_*.deb | sed -n 's/.* [.]\/\(usr\/.*[^/]\)$/\1/p' | sed 's/ -> .*//' |
    grep -v 'usr/include/nvimport/\|/examples/\|usr/share/[^d]' | LC_ALL=C sort >>got
  printf '%s\n' "$2" "$3" >want
  printf "usr/share/doc/$1/%s\n" changelog.Debian.gz changelog.gz copyright >>want
  diff -u want got || fail "$1 has other dependencies or files"
}
version=$(dpkg-deb -f nvimport_*.deb Version)
lib=usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
system="libc6, libgcc-s1, libstdc++6"
holds libnvimport1 "libc6, libexpat1, libgcc-s1, libisal2, libnettle8, libstdc++6, libxml2, zlib1g" "$lib/libnvimport.so.1
$lib/libnvimport.so.${version%-*}
$lib/nvimport/complete/nvimport-complete.so"
holds libnvimport-dev "libnvimport1 (= $version)" "$lib/cmake/NvImport/NvImportConfig.cmake
$lib/cmake/NvImport/NvImportConfigVersion.cmake
$lib/cmake/NvImport/NvImportPlugin.cmake
$lib/cmake/NvImport/NvImportTargets-release.cmake
$lib/cmake/NvImport/NvImportTargets.cmake
$lib/libnvimport.so
$lib/pkgconfig/nvimport.pc"
holds nvimport "libnvimport1 (= $version), $system" "usr/bin/nvimport"

# Where libhdf5 is installed.
if ls nvimport-hdf5_*.deb >/dev/null 2>&1; then
  holds nvimport-hdf5 "libnvimport1 (= $version), libc6, libgcc-s1, libhdf5-103-1, libstdc++6" \
    "$lib/nvimport/nvimport-hdf5-reader
$lib/nvimport/plugins/nvimport-hdf5.so"
  first=$(unset NVIMPORT_PLUGIN_PATH; LD_LIBRARY_PATH=root/$lib XDG_CONFIG_HOME=/nowhere root/usr/bin/nvimport \
    convert "$root/samples/stills.mat" -o - 2>/dev/null | head -n 1)
  [ "$first" = "yield,volume,hours" ] || fail "the command does not read with nvimport-hdf5: $first"
fi

# Where unixODBC is installed.
if ls nvimport-odbc_*.deb >/dev/null 2>&1; then
  holds nvimport-odbc "libnvimport1 (= $version), libc6, libgcc-s1, libodbc2, libstdc++6" \
    "$lib/nvimport/plugins/nvimport-odbc.so"
fi

# Where Qt is installed.
if ls nvimport-desktop_*.deb >/dev/null 2>&1; then
  dialogs=libnvimport-qt-dialogs1
  qt="libqt6core6, libqt6gui6, libqt6widgets6"
  holds $dialogs "libnvimport1 (= $version), libc6, libgcc-s1, $qt, libstdc++6" \
    "$lib/libnvimport-qt-dialogs.so.1
$lib/libnvimport-qt-dialogs.so.${version%-*}"
  holds libnvimport-qt-dialogs-dev \
    "$dialogs (= $version), libnvimport-dev (= $version), qt6-base-dev" \
    "$lib/cmake/NvImport/NvImportQtDialogsTargets-release.cmake
$lib/cmake/NvImport/NvImportQtDialogsTargets.cmake
$lib/libnvimport-qt-dialogs.so"
  qt="libqcustomplot2.1-qt6, libqt6core6, libqt6gui6, libqt6printsupport6, libqt6svg6, libqt6widgets6"
  holds nvimport-desktop "libnvimport1 (= $version), $dialogs (= $version), libc6, libgcc-s1, $qt, libstdc++6" "usr/bin/nvimport-desktop
$lib/nvimport/nvimport-draw.so"
  quiet appstreamcli validate --no-net root/usr/share/metainfo/*.xml
fi

# Where python3-dev and pybind11-dev are installed.
if ls python3-nvimport_*.deb >/dev/null 2>&1; then
  dpkg-deb -x python3-nvimport_*.deb root
  LD_LIBRARY_PATH=root/$lib PYTHONPATH=root/usr/lib/python3/dist-packages /usr/bin/python3 -B -c '
import nvimport
assert "/root/" in nvimport.__file__, nvimport.__file__
assert nvimport.read(nvimport.samples("tanks.wk1")).cells[4, 1] == 310' ||
    fail "the Python package does not read"
fi

# Where r-base-dev and r-cran-cpp11 are installed.
if ls r-cran-nvimport_*.deb >/dev/null 2>&1; then
  dpkg-deb -x r-cran-nvimport_*.deb root
  LD_LIBRARY_PATH=root/$lib R_LIBS=root/usr/lib/R/site-library R -s --vanilla -e '
library(nvimport)
stopifnot(grepl("/root/", find.package("nvimport")), nv_read(nv_sample("tanks.wk1"))[[2]][4] == 310)' ||
    fail "the R package does not read"
fi

sum=$(LD_LIBRARY_PATH=root/$lib NVIMPORT_PLUGIN_PATH='' XDG_CONFIG_HOME=/nowhere root/usr/bin/nvimport \
  convert "$root/samples/tanks.wk1" -o - 2>/dev/null | tail -n 1)
[ "$sum" = "Sum,310" ] || fail "the command does not read through NvImport Complete: $sum"
