# What the scripts share: the version, installing what is missing, and building.
# Sourced by sh with $root set to the project's folder.

run_packages="g++ cmake make ninja-build libcli11-dev libexpat1-dev libhdf5-dev libisal-dev libxml2-dev nettle-dev
  nlohmann-json3-dev unixodbc-dev zlib1g-dev"
desktop_packages="$run_packages qt6-base-dev qt6-svg-dev libqcustomplot-dev"
python_packages="$run_packages pybind11-dev python3-dask python3-dev python3-distributed
  python3-ipykernel python3-matplotlib python3-mypy python3-nbclient python3-nbformat python3-numpy python3-olefile python3-openpyxl python3-pandas python3-pytest python3-setuptools python3-venv
  python3-wheel python3-xarray python3-xlrd"
r_packages="$run_packages pkg-config r-base-core r-base-dev r-cran-cpp11 r-cran-testthat
  r-cran-knitr r-cran-pls r-cran-tibble"
# What the peers of bench/run --r and R/check need besides.
r_check_packages="$r_packages r-cran-data.table r-cran-readr r-cran-readxl r-cran-rmarkdown r-cran-roxygen2"
test_packages="$run_packages libgtest-dev libbenchmark-dev locales g++-multilib pkg-config
  libgsf-1-dev libsqliteodbc"
ci_packages="$test_packages $desktop_packages $python_packages $r_packages abigail-tools appstream ccache openbox xauth xvfb clang clang-format clang-tidy cppcheck doxygen dpkg-dev
  fish groff-base libclang-rt-14-dev libmatio11 lintian mariadb-server octave odbc-mariadb odbc-postgresql postgresql python3 python3-h5py python3-netcdf4 python3-scipy reuse valgrind zsh"

# Installs those of the packages named that are missing; says nothing when there are none.
need_packages() {
  command -v dpkg-query >/dev/null || return 0 # not Debian: CMake names what it lacks
  missing=
  for package in "$@"; do
    case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
      installed) ;;
      *) missing="$missing $package" ;;
    esac
  done
  [ -n "$missing" ] || return 0
  install="apt-get install -y --no-install-recommends$missing"
  if [ "$(id -u)" -eq 0 ]; then
    as_root=
  elif command -v sudo >/dev/null; then
    as_root=sudo
  else
    echo "Some packages are missing. As root, run this and come back:" >&2
    echo "  apt-get update && $install" >&2
    exit 1
  fi
  echo "Installing$missing" >&2
  # shellcheck disable=SC2086 # a list of words
  $as_root apt-get update -qq >&2 &&
    $as_root env DEBIAN_FRONTEND=noninteractive $install -qq -o Dpkg::Use-Pty=0 >&2 || {
    echo "That failed. As root, run this and come back:" >&2
    echo "  apt-get update && $install" >&2
    exit 1
  }
  installed_some=yes
}

# The version, from its only place.
version() {
  sed -n 's/^#define NVIMPORT_VERSION_\(MAJOR\|MINOR\|PATCH\) //p' "$root/nvimport/framework/Version.h" |
    paste -sd .
}

# What was compiled before, in whichever folder, is not compiled again where ccache is installed.
use_ccache() {
  command -v ccache >/dev/null || return 0
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
}

# build PRESET [TARGET...]: configures where that has not been done or new packages may change it,
# and builds.
build() {
  preset=$1
  shift
  use_ccache
  if [ ! -f "$root/build/$preset/build.ninja" ] || [ -n "${installed_some:-}" ]; then
    (cd "$root" && cmake --preset "$preset" >&2) || exit 1
  fi
  if [ $# -gt 0 ]; then set -- --target "$@"; fi
  # Where there is nothing to do, there is nothing to say.
  if [ "$(cd "$root" && cmake --build --preset "$preset" "$@" -- -n 2>/dev/null | tail -n 1)" = \
    "ninja: no work to do." ]; then
    return 0
  fi
  (cd "$root" && cmake --build --preset "$preset" "$@" >&2) || exit 1
}
