#!/usr/bin/env bash
# Builds what the Windows tools and tests link that Debian does not ship for
# MinGW into DEPS/prefix: libpng (from Debian's own source package, against
# Debian's MinGW zlib) and GoogleTest (from /usr/src/googletest), both static,
# and CLI11's headers. The source package is downloaded once into DEPS/src
# and kept there; what is already in the prefix is not built again.
#
#   cmake/windows/deps.sh DEPS TOOLCHAIN_FILE TRIPLE [--with-tests]
set -euo pipefail

deps=$1
toolchain=$2
triple=$3
with_tests=${4:-}
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
prefix=$deps/prefix
mkdir -p "$deps/src" "$prefix"

log() { echo "lumora deps: $*" >&2; }

# Debian's sources have to be listed for `apt-get source`; the entry added
# mirrors the binary entries already there.
ensure_deb_src() {
  if grep -rqsE '^(deb-src|Types:.*deb-src)' /etc/apt/sources.list /etc/apt/sources.list.d/; then return; fi
  if [[ $(id -u) -ne 0 ]]; then
    log "no deb-src entry in /etc/apt and not root: add one, or run as root" && exit 1
  fi
  local added=/etc/apt/sources.list.d/lumora-deb-src
  if [[ -f /etc/apt/sources.list.d/debian.sources ]]; then
    sed 's/^Types: deb$/Types: deb-src/' /etc/apt/sources.list.d/debian.sources >"$added.sources"
  else
    grep -E '^deb ' /etc/apt/sources.list | sed 's/^deb /deb-src /' >"$added.list"
  fi
  log "added the Debian source entries ($added.*)"
  apt-get update -qq
}

build_libpng() {
  [[ -f $prefix/lib/libpng.a ]] && return
  local source
  source=$(find "$deps/src" -maxdepth 1 -type d -name 'libpng1.6-*' | head -n1)
  if [[ -z $source ]]; then
    ensure_deb_src
    log "downloading Debian's libpng1.6 source package"
    # A mirror may list a version whose files it no longer has: take the
    # newest one that downloads.
    local version
    for version in $(apt-cache showsrc libpng1.6 | sed -n 's/^Version: //p' | sort -rV); do
      (cd "$deps/src" && apt-get source -qq "libpng1.6=$version" >/dev/null 2>&1) && break
      rm -rf "$deps/src"/libpng1.6[-_]*
    done
    source=$(find "$deps/src" -maxdepth 1 -type d -name 'libpng1.6-*' | head -n1)
    [[ -n $source ]] || { log "apt-get source libpng1.6 failed"; exit 1; }
  fi
  log "building libpng from $source"
  cmake -S "$source" -B "$deps/build-libpng" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" "${launcher[@]}" \
    -DZLIB_LIBRARY="/usr/$triple/lib/libz.a" -DZLIB_INCLUDE_DIR="/usr/$triple/include" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DPNG_SHARED=OFF -DPNG_STATIC=ON \
    -DPNG_TESTS=OFF -DPNG_EXECUTABLES=OFF -DSKIP_INSTALL_PROGRAMS=ON \
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON >/dev/null
  cmake --build "$deps/build-libpng" >/dev/null
  cmake --install "$deps/build-libpng" >/dev/null
}

build_googletest() {
  [[ -f $prefix/lib/libgtest.a ]] && return
  log "building GoogleTest from /usr/src/googletest"
  cmake -S /usr/src/googletest -B "$deps/build-googletest" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" "${launcher[@]}" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$prefix" -DBUILD_GMOCK=OFF -DBUILD_SHARED_LIBS=OFF \
    -Dgtest_force_shared_crt=ON >/dev/null
  cmake --build "$deps/build-googletest" >/dev/null
  cmake --install "$deps/build-googletest" >/dev/null
}

# CLI11 is header-only: the build machine's headers, behind a package of the
# prefix so that the search stays inside the MinGW roots.
copy_cli11() {
  [[ -f $prefix/lib/cmake/CLI11/CLI11Config.cmake ]] && return
  [[ -d /usr/include/CLI ]] || { log "CLI11 headers missing (libcli11-dev)"; exit 1; }
  mkdir -p "$prefix/include" "$prefix/lib/cmake/CLI11"
  cp -r /usr/include/CLI "$prefix/include/"
  cat >"$prefix/lib/cmake/CLI11/CLI11Config.cmake" <<'CONFIG'
if(NOT TARGET CLI11::CLI11)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  get_filename_component(_cli11_include "${CMAKE_CURRENT_LIST_DIR}/../../../include" ABSOLUTE)
  set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${_cli11_include}")
endif()
CONFIG
}

build_libpng
copy_cli11
if [[ $with_tests == --with-tests ]]; then build_googletest; fi
