# The board's libraries, cross-built once from Debian's sources and kept outside the tree.
# shellcheck shell=bash

# What the names of the target's compiler and tools begin with.
DEBIAN_TARGET=powerpc-linux-gnu
export BOARD_TARGET=${BOARD_TARGET:-$DEBIAN_TARGET}
BOARD_CACHE=${BOARD_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/restful_api_engine_board}/$BOARD_TARGET
export BOARD_PREFIX=$BOARD_CACHE/root

# Lets apt-get fetch sources, from wherever it fetches packages.
enable_source_packages() {
  local folder=/etc/apt/sources.list.d as_root=()
  [ -e $folder/board.list ] && return
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  sed -n 's/^deb /deb-src /p' /etc/apt/sources.list $folder/*.list 2>/dev/null |
    "${as_root[@]}" tee $folder/board.list >/dev/null || true
  sed 's/^Types: deb$/Types: deb-src/' $folder/*.sources 2>/dev/null |
    "${as_root[@]}" tee $folder/board.sources >/dev/null || true
  "${as_root[@]}" apt-get update >/dev/null
}

# source_of PACKAGE: the unpacked source folder of a Debian source package: the newest version that
# the mirror really has.
source_of() {
  local version
  mkdir -p "$BOARD_CACHE/src"
  for version in $(apt-cache showsrc "$1" | sed -n 's/^Version: //p' | sort -rV); do
    compgen -G "$BOARD_CACHE/src/$1-*/" >/dev/null && break
    (cd "$BOARD_CACHE/src" && apt-get source "$1=$version" >/dev/null 2>&1) || true
  done
  compgen -G "$BOARD_CACHE/src/$1-*/" | head -n 1 | grep . || die "cannot fetch the source of $1"
}

# built NAME PROCEDURE ARGUMENT...: runs the procedure unless it has succeeded before.
built() {
  local name=$1 log=$BOARD_CACHE/$1.log
  shift
  [ -e "$BOARD_CACHE/$name.done" ] && return
  echo "board: building $name for $BOARD_TARGET" >&2
  (set -e; "$@") >"$log" 2>&1 || die "cannot build $name: see $log"
  touch "$BOARD_CACHE/$name.done"
}

build_openssl() {
  local source
  source=$(source_of openssl)
  mkdir -p "$BOARD_CACHE/build/openssl" && cd "$BOARD_CACHE/build/openssl" || return
  "$source/Configure" linux-ppc --cross-compile-prefix=$BOARD_TARGET- --prefix="$BOARD_PREFIX" \
    --libdir=lib no-shared no-tests no-asm no-engine no-dso -latomic
  make -j"$(nproc)" build_libs && make install_dev
}

# build_cmake SOURCE_PACKAGE ARGUMENT...
build_cmake() {
  local source name=$1
  source=$(source_of "$1")
  shift
  cmake -G Ninja -S "$source" -B "$BOARD_CACHE/build/$name" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/board.cmake" \
    -DCMAKE_INSTALL_PREFIX="$BOARD_PREFIX" -DCMAKE_INSTALL_LIBDIR=lib -DBUILD_SHARED_LIBS=OFF \
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON "$@"
  cmake --build "$BOARD_CACHE/build/$name"
  cmake --install "$BOARD_CACHE/build/$name"
}

# What the engine is linked with.
engine_libs() {
  need_packages dpkg-dev make perl cmake ninja-build
  [ "$BOARD_TARGET" != $DEBIAN_TARGET ] || need_packages g++-$DEBIAN_TARGET
  command -v "$BOARD_TARGET-g++" >/dev/null || die "there is no $BOARD_TARGET-g++: is it in PATH?"
  mkdir -p "$BOARD_CACHE/build"
  enable_source_packages
  built openssl build_openssl
  built json-c build_cmake json-c -DBUILD_TESTING=OFF -DBUILD_APPS=OFF -DDISABLE_WERROR=ON
}

# What the tests and the simulated switch are linked with.
test_libs() {
  built googletest build_cmake googletest -DBUILD_GMOCK=OFF
  built libssh2 build_cmake libssh2 -DCRYPTO_BACKEND=OpenSSL -DBUILD_EXAMPLES=OFF \
    -DBUILD_TESTING=OFF
  built curl build_cmake curl -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DCURL_USE_OPENSSL=ON \
    -DCURL_ZLIB=OFF -DCURL_DISABLE_LDAP=ON -DCURL_USE_LIBSSH2=ON -DCURL_USE_LIBPSL=OFF \
    -DUSE_NGHTTP2=OFF -DUSE_LIBIDN2=OFF -DCURL_CA_BUNDLE=none -DCURL_CA_PATH=none
}
