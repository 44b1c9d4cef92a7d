#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Tessera need, and any further
# packages named as arguments (scripts/fuzz.sh asks for clang and its fuzzer runtime so).
# Only missing packages are installed, so it is cheap to run every time.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qtbase5-dev qtbase5-dev-tools libqt5serialport5-dev libqt5svg5-dev libqt5charts5-dev
  libftdi1-dev libudev-dev
  stm32flash srecord
  xvfb xauth
  dpkg-dev lintian procps
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "bootstrap: installing ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
