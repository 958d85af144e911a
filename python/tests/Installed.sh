#!/bin/sh
# Installed.sh CMAKE BUILD SOURCE PYTHON FOLDER: the package as cmake installs it in FOLDER of a prefix,
# and as pip does in a virtual environment that sees the system's packages, without a network.
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
assert nvimport.read(sys.argv[2] + "/barley.spc").spectra().matrix.shape == (3, 100)
libraries = {line.split()[-1] for line in open("/proc/self/maps") if "libnvimport" in line}
assert len(libraries) == 1 and libraries.pop().startswith(sys.argv[1]), libraries
END
  )
}

quiet "$cmake" --install "$build" --prefix "$work/prefix"
PYTHONPATH=$work/prefix/$folder reads "$python" "$work/prefix"

unset PYTHONPATH
mkdir "$work/source"
(cd "$source" && cp -R pyproject.toml setup.py docs python nvimport "$work/source")
quiet "$python" -m venv --system-site-packages "$work/venv"
quiet "$work/venv/bin/pip" install --no-index --no-build-isolation "$work/source"
reads "$work/venv/bin/python" "$work/venv"
