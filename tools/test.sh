#!/usr/bin/env bash
# Builds Kelvor and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
ctest --test-dir build --output-on-failure --timeout 600
