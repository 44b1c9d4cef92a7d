#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang (AddressSanitizer and UBSan on) in build-fuzz/ and
# runs each on its seed corpus for a while. Inputs the fuzzer finds go to build-fuzz/corpus/<target>
# (the committed seeds in fuzz/corpus/ stay as they are); a crash leaves its input in
# build-fuzz/crashes/ and makes the script fail.
# Usage: scripts/fuzz.sh [seconds per target, default 10] [target ...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-10}"
shift || true
# Besides the usual packages: clang, and its runtime with libFuzzer and the sanitizers.
bash scripts/bootstrap.sh clang libclang-rt-14-dev

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B build-fuzz -DTESSERA_FUZZ=ON -DBUILD_TESTING=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
cmake --build build-fuzz --target fuzz -j"$(nproc)" >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(fuzz_slip_hci fuzz_service_decoders fuzz_field_layouts fuzz_intel_hex fuzz_config_files)
fi
mkdir -p build-fuzz/crashes
status=0
for target in "${targets[@]}"; do
  mkdir -p "build-fuzz/corpus/$target"
  log="build-fuzz/$target.log"
  # Line noise and files need inputs longer than the decoder's frame limit (4096 bytes).
  case "$target" in
    fuzz_slip_hci|fuzz_intel_hex|fuzz_config_files) max_len=20000 ;;
    *) max_len=1024 ;;
  esac
  if build-fuzz/bin/"$target" -max_total_time="$seconds" -max_len="$max_len" -print_final_stats=1 -timeout=10 -rss_limit_mb=2048 \
       -artifact_prefix="build-fuzz/crashes/$target-" "build-fuzz/corpus/$target" "fuzz/corpus/$target" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    echo "fuzz: $target: $runs runs in $seconds s, no finding"
  else
    echo "fuzz: $target: FAILED (input in build-fuzz/crashes/, log $log)"
    tail -n 40 "$log"
    status=1
  fi
done
exit $status
