#!/usr/bin/env bash
# The suite under AddressSanitizer and UndefinedBehaviorSanitizer (clang, with the fuzz targets),
# each fuzz target for a bounded time, and the tests of what runs on several threads under
# ThreadSanitizer. Any finding fails the run. tools/test.sh runs it after tools/setup.sh.
set -euo pipefail
cd "$(dirname "$0")/.."

# Optimised a little (-O1): the sanitized suite runs several times faster than at -O0 and still
# reports exact lines.
clang_options=(-G Ninja -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g" -DCMAKE_CXX_COMPILER=clang++
  -DKELVOR_WERROR=ON "-DKELVOR_MCP_CLIENT_DIR=${KELVOR_MCP_CLIENT_DIR:-$HOME/.cache/kelvor/mcp-client}")
if command -v ccache >/dev/null; then clang_options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi

# The suite under ASan + UBSan; tests that spawn kelvor spawn this folder's sanitized binary.
export ASAN_OPTIONS=halt_on_error=1:detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
cmake -S . -B build-asan "${clang_options[@]}" -DKELVOR_FUZZ=ON >/dev/null
cmake --build build-asan
ctest --test-dir build-asan --output-on-failure --timeout 900 -j2

# Each fuzz target from its seeds for a bounded time. New inputs go to a scratch folder (libFuzzer
# writes into the first folder it is given), so the seeds in the repository stay as they are; an
# input that finds something is left in build-asan/fuzz-findings/.
fuzz_seconds=${KELVOR_FUZZ_SECONDS:-20}
rm -rf build-asan/fuzz-scratch
mkdir -p build-asan/fuzz-findings
for seeds in fuzz/corpus/*/; do
  target=$(basename "$seeds")
  mkdir -p "build-asan/fuzz-scratch/$target"
  echo "fuzzing $target for ${fuzz_seconds}s"
  build-asan/"$target" -max_total_time="$fuzz_seconds" -print_final_stats=1 \
    -artifact_prefix="build-asan/fuzz-findings/$target-" "build-asan/fuzz-scratch/$target" "$seeds" 2>&1 |
    grep -E '^(stat::number_of_executed_units|==[0-9]+==|SUMMARY)|check failed|runtime error' || true
  # The pipe hides the target's status: a finding is told by the input it left.
  if compgen -G "build-asan/fuzz-findings/$target-*" >/dev/null; then
    echo "fuzz target $target found a failing input: build-asan/fuzz-findings/" >&2
    exit 1
  fi
done

# The threaded code under ThreadSanitizer: only its tests are built.
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
cmake -S . -B build-tsan "${clang_options[@]}" -DKELVOR_SANITIZE=thread >/dev/null
cmake --build build-tsan --target kelvor_thread_tests
build-tsan/kelvor_thread_tests
