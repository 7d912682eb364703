#!/usr/bin/env bash
# Builds Kelvor and runs its main job over the home folder (it changes nothing).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup.sh
exec build/kelvor "$@"
