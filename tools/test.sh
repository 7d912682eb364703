#!/usr/bin/env bash
# Builds Kelvor with warnings as errors and runs the whole test suite, then runs it again in random
# order under another language with relocation variables exported, so no test leans on the machine
# or on the order. Last, clang++ builds it too (Debug, the quickest to compile) and runs the suite.
set -euo pipefail
cd "$(dirname "$0")/.."
export KELVOR_WERROR=ON
tools/setup.sh
ctest --test-dir build --output-on-failure --timeout 600 -j2
LANG=de_DE.UTF-8 HF_HUB_CACHE=/x XDG_CACHE_HOME=/y \
  ctest --test-dir build --output-on-failure --timeout 600 -j2 --schedule-random

clang_options=(-G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=clang++ -DKELVOR_WERROR=ON)
if command -v ccache >/dev/null; then clang_options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B build-clang "${clang_options[@]}" >/dev/null
cmake --build build-clang
ctest --test-dir build-clang --output-on-failure --timeout 600 -j2
