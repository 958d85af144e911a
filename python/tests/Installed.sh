#!/bin/sh
# Installed.sh CMAKE BUILD SOURCE PYTHON FOLDER: the package as cmake installs it in FOLDER of a prefix,
# and as pip does from a source distribution in a virtual environment that sees the system's packages,
# without a network.
set -eu
cmake=$1
build=$2
source=$3
python=$4
folder=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
log=$work/log
. "$source/tests/install/functions.sh"

# reads PYTHON FOLDER: the package that PYTHON finds lies below FOLDER and reads.
reads() {
  (cd "$work" && "$1" -B - "$2" "$source/samples" <<'END'
import sys
import nvimport
assert nvimport.__file__.startswith(sys.argv[1]), nvimport.__file__
read = 0
for path in sorted(nvimport.samples().iterdir()):
    if path.suffix == ".cn":
        continue
    try:
        sheet = nvimport.read(path)
    except nvimport.Error as error:
        # Wheels come without the reader of HDF5 files.
        assert "nvimport-hdf5" in str(error), error
        continue
    assert sheet == nvimport.read(f"{sys.argv[2]}/{path.name}") and len(sheet.to_pandas()), path
    read += 1
assert read > 15, read
assert nvimport.read(nvimport.samples("barley.spc")).spectra().matrix.shape == (3, 100)
libraries = {line.split()[-1] for line in open("/proc/self/maps") if "libnvimport" in line}
assert len(libraries) == 1 and libraries.pop().startswith(sys.argv[1]), libraries
END
  )
}

quiet "$cmake" --install "$build" --prefix "$work/prefix"
PYTHONPATH=$work/prefix/$folder reads "$python" "$work/prefix"

unset PYTHONPATH
mkdir "$work/source"
(cd "$source" && cp -R pyproject.toml setup.py MANIFEST.in CMakeLists.txt CHANGELOG.md cmake docs \
  nvimport plugins python samples "$work/source")
(cd "$work/source" && quiet "$python" setup.py sdist --dist-dir "$work/sdist")
tar -xzf "$work"/sdist/*.tar.gz -C "$work/sdist"
# All that it is built of is in it, and CMake finds that.
(cd "$work/source" && find cmake nvimport plugins samples python/*.* python/nvimport -type f |
  grep -v '__pycache__\|egg-info') >"$work/files"
(cd "$work"/sdist/*/ && while read -r file; do [ -f "$file" ] || echo "$file"; done) <"$work/files" >"$work/lacking"
[ ! -s "$work/lacking" ] || fail "the source distribution lacks $(cat "$work/lacking")"
quiet "$cmake" -S "$work"/sdist/*/ -B "$work/configured" -DNVIMPORT_TESTS=OFF -DNVIMPORT_BENCH=OFF \
  -DNVIMPORT_CLI=OFF -DNVIMPORT_DESKTOP=OFF -DNVIMPORT_R=OFF

quiet "$python" -m venv --system-site-packages "$work/venv"
quiet "$work/venv/bin/pip" wheel --no-deps --no-index --no-build-isolation -w "$work/wheels" \
  "$work"/sdist/*.tar.gz
quiet "$work/venv/bin/pip" install --no-deps --no-index "$work"/wheels/*.whl
reads "$work/venv/bin/python" "$work/venv"

# This one needs the libraries of the build, which the check sees.
if command -v readelf >/dev/null; then
  "$python" "$source/python/check_wheel" "$work"/wheels/*.whl >"$work/checked" &&
    fail "the wheel of a build for this system passes as one for all"
  needs=$(sed -n 's/.* needs //p' "$work/checked" | LC_ALL=C sort -u | tr '\n' ' ')
  case $needs in
    "libisal.so.2 libnettle.so.8 libxml2.so.2 ") ;;
    *) fail "$(cat "$work/checked")" ;;
  esac
fi
