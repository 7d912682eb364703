#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build Kelvor, then configures and builds it.
set -euo pipefail
cd "$(dirname "$0")/.."

# trash-cli: the tests check that its tools see and restore what Kelvor moves to the Trash.
packages=(g++ cmake ninja-build libgtest-dev nlohmann-json3-dev trash-cli)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}"
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build
