#!/usr/bin/env bash
# Writes the studio's pictures into docs/screenshots (1600x1000 in each theme, 1024x768, the two
# LoRaWAN pages at 1600x1500, the Osprey pages, the device and production pages with data), with
# virtual modules, without a display.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target tessera-screenshots
QT_QPA_PLATFORM=offscreen build/bin/tessera-screenshots docs/screenshots
