#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build Kelvor, then configures and builds it.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ cmake ninja-build libgtest-dev nlohmann-json3-dev)
# The official MCP client that the automation tests drive runs on Node.js.
command -v node >/dev/null 2>&1 || packages+=(nodejs npm)
missing=()
for package in "${packages[@]}"; do
  dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq "${missing[@]}"
fi

# The MCP SDK client, at the versions its lock file pins.
client=tests/automation/mcp_client
if [ ! -d "$client/node_modules" ] || [ "$client/package-lock.json" -nt "$client/node_modules/.package-lock.json" ]; then
  (cd "$client" && npm ci --no-audit --no-fund --loglevel=error)
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build
