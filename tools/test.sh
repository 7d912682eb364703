#!/usr/bin/env bash
# Builds Kelvor with warnings as errors and runs the whole test suite, then runs it again in random
# order under another language with relocation variables exported, so no test leans on the machine
# or on the order.
set -euo pipefail
cd "$(dirname "$0")/.."
export KELVOR_WERROR=ON
tools/setup.sh
ctest --test-dir build --output-on-failure --timeout 600 -j2
LANG=de_DE.UTF-8 HF_HUB_CACHE=/x XDG_CACHE_HOME=/y \
  ctest --test-dir build --output-on-failure --timeout 600 -j2 --schedule-random

# clang++ builds it too, sanitized: the suite under AddressSanitizer and UndefinedBehaviorSanitizer,
# each fuzz target for a bounded time, and the threaded code's tests under ThreadSanitizer.
tools/sanitize.sh
