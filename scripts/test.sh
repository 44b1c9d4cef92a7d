#!/usr/bin/env bash
# Builds Tessera and runs every test headless. Usage: scripts/test.sh [ctest arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
export QT_QPA_PLATFORM=offscreen
ctest --test-dir build --output-on-failure -j"$(nproc)" "$@"
