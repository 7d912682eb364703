#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build Kelvor, then configures and builds it in
# build/ (Release with the system's g++). KELVOR_WERROR=ON in the environment makes warnings errors.
set -euo pipefail
cd "$(dirname "$0")/.."

# trash-cli and gio (libglib2.0-bin): the tests check that Kelvor and these tools see and restore
# what the others moved to the Trash. libssl-dev: SHA-256 for the duplicate finder; xfsprogs: the
# reflink file system its clone tests mount.
packages=(g++ clang cmake ninja-build libgtest-dev nlohmann-json3-dev trash-cli libglib2.0-bin libssl-dev xfsprogs)
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

# The MCP SDK client, at the versions its lock file pins, installed outside the checkout (CMake
# copies the client's scripts beside it).
client=${KELVOR_MCP_CLIENT_DIR:-$HOME/.cache/kelvor/mcp-client}
mkdir -p "$client"
cp tests/automation/mcp_client/package.json tests/automation/mcp_client/package-lock.json "$client/"
if [ ! -d "$client/node_modules" ] || [ "$client/package-lock.json" -nt "$client/node_modules/.package-lock.json" ]; then
  (cd "$client" && npm ci --no-audit --no-fund --loglevel=error)
fi

# ccache speeds rebuilds where someone installed it; an unset KELVOR_WERROR keeps the folder's choice.
options=(-G Ninja -DCMAKE_BUILD_TYPE=Release "-DKELVOR_MCP_CLIENT_DIR=$client")
if command -v ccache >/dev/null; then options+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
if [ -n "${KELVOR_WERROR:-}" ]; then options+=("-DKELVOR_WERROR=$KELVOR_WERROR"); fi
cmake -S . -B build "${options[@]}" >/dev/null
cmake --build build
