#!/usr/bin/env bash
# Runs every libFuzzer target of the "fuzz" preset for SECONDS each, starting from its seed
# corpus in fuzz/corpus/<name> (copied, so the repository stays as it is) and its dictionary
# fuzz/<name>.dict when there is one. Fails on the first target that finds a crash, a leak or a
# timeout; the reproducer is left in the work directory it names.
#   tools/run-fuzzers.sh [SECONDS] [TARGET...]     (default 20 seconds, every target)
# FUZZ_BUILD_DIR names another build of the preset's targets (default build/fuzz/fuzz).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
build=${FUZZ_BUILD_DIR:-build/fuzz/fuzz}
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for t in "$build"/*_fuzz; do targets+=("$(basename "$t" _fuzz)"); done
fi
work=$(mktemp -d /tmp/platform-fuzz.XXXXXX)
for name in "${targets[@]}"; do
  corpus="$work/$name"
  mkdir -p "$corpus"
  cp fuzz/corpus/"$name"/* "$corpus"/ 2>/dev/null || true
  args=(-max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048
        -artifact_prefix="$work/$name-")
  [ -f fuzz/"$name".dict ] && args+=(-dict=fuzz/"$name".dict)
  if ! "$build/${name}_fuzz" "${args[@]}" "$corpus" > "$work/$name.log" 2>&1; then
    tail -n 40 "$work/$name.log"
    echo "fuzz: $name failed; reproducer and log in $work" >&2
    exit 1
  fi
  echo "fuzz: $name: $(grep -E '^Done' "$work/$name.log") $(grep -oE 'cov: [0-9]+' "$work/$name.log" | tail -n 1)"
done
rm -rf "$work"
