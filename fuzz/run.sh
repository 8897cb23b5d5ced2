#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for
# SECONDS (default 60) from its corpus in tests/corpus/<target>/. New inputs
# go to build-fuzz/corpus/, not into the tree. A finding fails the run and
# leaves its input as build-fuzz/crash-* (or leak-*, oom-*, timeout-*): fix the
# code and add the input to tests/corpus/<target>/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:-60}
# -O1 with line tables only, as fuzzing setups usually build: the sanitizers
# and coverage make -O2 builds of the vectorised loops very slow to compile.
cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -gline-tables-only -DNDEBUG" -DLUMORA_FUZZ=ON -DBUILD_SHARED_LIBS=OFF \
  -DLUMORA_BUILD_TESTS=OFF -DLUMORA_BUILD_BENCH=OFF -DLUMORA_BUILD_TOOLS=OFF
cmake --build build-fuzz -j "$(nproc 2>/dev/null || echo 2)"
for target in dib bmp png pnm; do
  mkdir -p "build-fuzz/corpus/$target"
  echo "fuzz: $target for ${seconds}s"
  (cd build-fuzz && ./bin/fuzz_$target -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    "corpus/$target" "../tests/corpus/$target")
done
