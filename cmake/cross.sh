# shellcheck shell=sh disable=SC2154 # $root and $cross are of those who source it
# What the scripts share that build for another system or processor, after setup.sh: $cross is the preset,
# whose libraries that this system has no packages of are in $libraries.
libraries=$root/build/$cross-libraries
mkdir -p "$libraries"

# quietly NAME COMMAND...: its words only where it fails.
quietly() {
  name=$1
  shift
  "$@" >"$libraries/$name.log" 2>&1 && return 0
  tail -n 20 "$libraries/$name.log" >&2
  echo "$cross: $name failed" >&2
  exit 1
}

# debian_lists KIND ARCHITECTURE: lists of Debian's packages (deb, deb-src) for apt-get $own, beside
# the system's.
debian_lists() {
  sources=$libraries/sources
  mkdir -p "$sources/lists/partial"
  . /etc/os-release
  echo "$1 http://deb.debian.org/debian $VERSION_CODENAME main" >"$sources/sources.list"
  own="-o Dir::Etc::SourceList=$sources/sources.list -o Dir::Etc::SourceParts=/dev/null
    -o Dir::State::Lists=$sources/lists -o APT::Sandbox::User=root
    -o APT::Architecture=$2 -o APT::Architectures=$2"
  # shellcheck disable=SC2086 # a list of words
  (cd "$sources" && apt-get $own update -qq)
}

install_library() {
  sources=$1
  shift
  cmake -S "$sources" -B "$libraries/build-$(basename "$sources")" -G Ninja \
    --toolchain "$root/cmake/toolchains/$cross.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$libraries" "$@"
  cmake --build "$libraries/build-$(basename "$sources")" --target install
}

# install_googletest [ARGUMENT...]: of which Debian has the sources.
install_googletest() {
  [ -f "$libraries/lib/libgtest.a" ] ||
    quietly googletest install_library /usr/src/googletest -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_LIBDIR=lib "$@"
}

# Headers alone, which are the same everywhere; the system's others must not be found beside them.
copy_headers() {
  mkdir -p "$libraries/share"
  cp -r /usr/include/CLI /usr/include/nlohmann "$libraries/include/"
  cp -r /usr/share/cmake "$libraries/share/"
}
