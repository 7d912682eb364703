#!/usr/bin/env bash
# Builds Kelvor and runs its main job over the home folder: the scan-speed report of each walker,
# then the clean plan (plan only: nothing is moved). With arguments, runs Kelvor with them instead.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
if [ $# -gt 0 ]; then
  exec build/kelvor "$@"
fi
build/kelvor
exec build/kelvor --mode clean
