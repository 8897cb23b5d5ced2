#!/usr/bin/env bash
# Builds Lumora and runs the demo or the tests.
#
#   ./build.sh demo [DIR]         build in build/ and run `lumora demo` (default DIR: ./lumora-demo)
#   ./build.sh test [--sanitize]  build and run every test; --sanitize uses build-asan/
#                                 with AddressSanitizer and UndefinedBehaviorSanitizer
#   ./build.sh test --windows     build for Windows with MinGW-w64 in build-win/ (and the
#                                 32-bit libraries in build-win32/), run every test under Wine
#
# Run as root on Debian/Ubuntu, it first installs the packages it needs that
# are missing; otherwise it names them.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"

usage() {
  sed -n '2,8s/^# \{0,1\}//p' "$0" >&2
  exit 2
}

mode=${1:-}
[[ $mode == demo || $mode == test ]] || usage
shift
sanitize=0
windows=0
demo_args=()
for arg in "$@"; do
  case $mode:$arg in
    test:--sanitize) sanitize=1 ;;
    test:--windows) windows=1 ;;
    demo:-*) usage ;;
    demo:*) demo_args+=("$arg") ;;
    *) usage ;;
  esac
done

packages=(cmake ninja-build g++ clang pkg-config libpng-dev libgtest-dev libcli11-dev libbenchmark-dev python3-pil python3-numpy
          pybind11-dev python3-dev python3-pytest python3-dask python3-distributed
          xvfb xauth xclip)
if ((windows)); then
  ((sanitize)) && usage
  # dpkg-dev unpacks Debian's libpng source for the MinGW build (cmake/windows/deps.sh).
  packages+=(g++-mingw-w64-x86-64 g++-mingw-w64-i686 wine64 libz-mingw-w64-dev googletest dpkg-dev)
fi
if command -v dpkg-query >/dev/null; then
  missing=()
  for p in "${packages[@]}"; do
    [[ $(dpkg-query -W -f='${Status}' "$p" 2>/dev/null) == "install ok installed" ]] || missing+=("$p")
  done
  if ((${#missing[@]})); then
    if [[ $(id -u) -eq 0 ]]; then
      echo "build.sh: installing ${missing[*]}"
      export DEBIAN_FRONTEND=noninteractive
      apt-get update -qq
      apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
    else
      echo "build.sh: missing packages: ${missing[*]} (run as root to install them)" >&2
    fi
  fi
fi

jobs=$(nproc 2>/dev/null || echo 2)

if ((windows)); then
  for arch in x86_64 i686; do
    dir=build-win
    options=(-DCMAKE_BUILD_TYPE=Release -DLUMORA_BUILD_BENCH=OFF)
    # The host platform of the original is 32-bit: its libraries are built, not run.
    if [[ $arch == i686 ]]; then
      dir=build-win32
      options+=(-DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_TOOLS=OFF)
    fi
    cmake -S . -B "$dir" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64-$arch.cmake" "${options[@]}"
    cmake --build "$dir" -j "$jobs"
  done
  # The tests start and stop their wineserver themselves (tests/CMakeLists.txt).
  ctest --test-dir build-win --output-on-failure -j "$jobs"
  exit
fi
if ((sanitize)); then
  dir=build-asan
  options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMORA_SANITIZE=ON -DLUMORA_BUILD_BENCH=OFF)
else
  dir=build
  options=(-DCMAKE_BUILD_TYPE=Release)
fi
generator=()
if [[ ! -f $dir/CMakeCache.txt ]] && command -v ninja >/dev/null; then generator=(-G Ninja); fi

cmake -S . -B "$dir" "${generator[@]}" "${options[@]}"
cmake --build "$dir" -j "$jobs"

case $mode in
  demo) "$dir/bin/lumora" demo "${demo_args[@]}" ;;
  test) ctest --test-dir "$dir" --output-on-failure -j "$jobs" ;;
esac
