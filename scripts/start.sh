#!/usr/bin/env bash
# Builds Tessera and starts it. Until the studio window lands, this starts the virtual module
# and shows how to talk to it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)"
if [ -x build/bin/tessera ]; then
  exec build/bin/tessera "$@"
fi
echo "Virtual module starting; its port path follows. Stop it with Ctrl+C."
echo "Talk to it from another terminal, e.g.: build/bin/tessera-cli exec --port <path> DeviceMgmt/GetDeviceInfo"
exec build/bin/tessera-sim --link /tmp/tessera-sim0 --power-up "$@"
