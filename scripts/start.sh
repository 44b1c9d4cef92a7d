#!/usr/bin/env bash
# Builds Tessera and starts the studio. With no module attached (no USB serial port), it starts
# with a virtual module (--demo) so that every page can be tried at once.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
args=("$@")
if ! ls /dev/ttyUSB* /dev/ttyACM* >/dev/null 2>&1; then
  echo "No module attached: starting with a virtual module (--demo)."
  args+=(--demo)
fi
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  echo "No display: set DISPLAY (or run under xvfb-run) to see the studio." >&2
fi
exec build/bin/tessera "${args[@]}"
