#!/usr/bin/env bash
# Builds the Debian package from the build tree and checks it: the contents list, the declared
# dependencies, an unpacked install below a scratch root (every program's --version; the studio's
# --demo finds every shipped file there), and lintian when it is installed.
# Usage: scripts/package-check.sh [--built] [BUILD_DIR]   (default: build, as scripts/test.sh leaves it)
#   --built: the build tree is complete (the test suite runs it so); nothing is installed or built.
set -euo pipefail
cd "$(dirname "$0")/.."
built=""
if [ "${1:-}" = "--built" ]; then built=yes; shift; fi
build=${1:-build}
say() { echo "package-check: $*"; }
fail() { echo "package-check: FAILED - $*" >&2; exit 1; }

if [ -z "$built" ]; then
  bash scripts/bootstrap.sh
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
  cmake --build "$build" -j"$(nproc)" >/dev/null
fi
version=$(sed -n 's/^project(Tessera VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
rm -f "$build"/tessera_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(readlink -f "$(ls "$build"/tessera_"$version"_*.deb)")
say "$deb ($(du -h "$deb" | cut -f1))"

# 1. The contents list.
contents=$(dpkg-deb -c "$deb" | awk '{print $6}')
required=(
  ./usr/bin/tessera ./usr/bin/tessera-cli ./usr/bin/tessera-sim
  ./usr/share/applications/tessera.desktop
  ./usr/share/icons/hicolor/scalable/apps/tessera.svg
  ./usr/share/man/man1/tessera.1.gz ./usr/share/man/man1/tessera-cli.1.gz ./usr/share/man/man1/tessera-sim.1.gz
  ./usr/lib/udev/rules.d/70-tessera.rules
  ./usr/share/bash-completion/completions/tessera-cli
  ./usr/share/tessera/Velto_LoRaWAN_Tessera.ini
  ./usr/share/tessera/Velto_LoRaWAN_Config.json
  ./usr/share/tessera/Velto_LR_TraceEvents.json
  ./usr/share/tessera/Velto_LR_RadioMsg.cfg
  ./usr/share/tessera/Documents/ReleaseNotes.txt
  ./usr/share/doc/tessera/copyright
  ./usr/share/doc/tessera/changelog.gz
)
for file in "${required[@]}"; do
  grep -qxF "$file" <<<"$contents" || fail "$file is not in the package"
done
say "contents: all ${#required[@]} files present"

# 2. Dependencies: the Qt libraries the programs link, the SVG plugin, and every one a real package here.
depends=$(dpkg-deb -f "$deb" Depends)
for needed in libqt5core5a libqt5network5 libqt5serialport5 libqt5widgets5 libqt5gui5 libqt5charts5 libqt5svg5; do
  grep -qw "$needed" <<<"$depends" || fail "Depends lacks $needed: $depends"
done
for name in $(tr ',|' '\n\n' <<<"$depends" | sed 's/(.*//; s/ //g' | sort -u); do
  dpkg-query -W "$name" >/dev/null 2>&1 || fail "Depends names $name, which is not installed here"
done
apt-get install -s "$deb" >"$build/package-check-apt.txt" 2>&1 || { cat "$build/package-check-apt.txt" >&2; fail "apt-get cannot install the package here"; }
say "depends: $depends (apt-get install -s resolves them)"

# 3. Installed below a scratch root: the programs run from there and use the files installed with them.
#    dpkg --root has no packages below that root, so the dependencies are checked above instead.
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
if [ "$(id -u)" -eq 0 ]; then
  dpkg --root="$root" --force-depends --log=/dev/null -i "$deb" >"$root/dpkg.out" 2>&1 || { cat "$root/dpkg.out" >&2; fail "dpkg --root"; }
  installed="dpkg --root"
else
  dpkg-deb -x "$deb" "$root"   # dpkg would need root to give the files their owner
  installed="dpkg-deb -x"
fi
say "installed below a scratch root with $installed"
for program in tessera tessera-cli tessera-sim; do
  out=$(env -u DISPLAY "$root/usr/bin/$program" --version)
  [ "$out" = "$program $version" ] || fail "$program --version printed \"$out\""
done
say "--version: tessera, tessera-cli, tessera-sim $version"
bash -n "$root/usr/share/bash-completion/completions/tessera-cli" || fail "bash completion"
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate "$root/usr/share/applications/tessera.desktop" || fail "desktop entry"
fi

# The studio with its demo module, as a fresh user, until the module's information is shown.
home="$root/home"
log="$root/demo.log"
mkdir -p "$home"
run=(env -u XDG_DATA_HOME -u XDG_CONFIG_HOME -u XDG_DATA_DIRS HOME="$home" "$root/usr/bin/tessera" --demo --log "$log")
if command -v xvfb-run >/dev/null; then
  display="Xvfb"
  xvfb-run -a "${run[@]}" >"$root/demo.out" 2>&1 &
else
  display="offscreen"
  QT_QPA_PLATFORM=offscreen "${run[@]}" >"$root/demo.out" 2>&1 &
fi
runner=$!
ready=""
for _ in $(seq 300); do   # a condition with a 30 s limit, not a pause
  if grep -q "new radio detected on:" "$log" 2>/dev/null; then ready=yes; break; fi
  kill -0 "$runner" 2>/dev/null || break
  sleep 0.1
done
studio=$(pgrep -P "$runner" -x tessera || echo "$runner")
kill "$studio" 2>/dev/null || true
wait "$runner" 2>/dev/null || true
[ -n "$ready" ] || { cat "$root/demo.out" "$log" >&2 || true; fail "the studio's demo did not show the module within 30 s"; }
if grep -Ei "not found|couldn't load|couldn't open|error - " "$log" >&2; then
  fail "the studio reported the lines above"
fi
data="$home/.local/share/Haldor/Velto_LoRaWAN_Tessera"
for file in Velto_LoRaWAN_Tessera.ini Velto_LoRaWAN_Config.json Velto_LR_TraceEvents.json Velto_LR_RadioMsg.cfg; do
  grep -qF "copy file:$root/usr/share/tessera/$file  to user directory $data/$file" "$log" || fail "$file was not installed from /usr/share/tessera"
  [ -f "$data/$file" ] || fail "$data/$file is missing"
done
[ "$(grep -c "successfully loaded!" "$log")" -eq 3 ] || fail "not all three configuration files loaded"
say "tessera --demo ($display): shipped files copied from usr/share/tessera, three configuration files loaded, no missing file"

# 4. lintian: errors fail the check; warnings are shown.
if command -v lintian >/dev/null; then
  lintian --fail-on error "$deb" || fail "lintian reported errors"
  say "lintian: no errors"
else
  say "lintian: not installed, skipped"
fi
say "done in ${SECONDS} s"
