#!/usr/bin/env bash
# Compares the ABI of a built libplatform with the committed baseline abi/libplatform.abi.
#   tools/check-abi.sh [BUILD_DIR]            (default: build/package)
#   tools/check-abi.sh --update [BUILD_DIR]   writes the baseline from the build instead
# The build must carry debug information (the "package" preset builds with -g and strips only
# what it packages), so that types are compared as well as symbols. Only the public headers
# count: types that appear in no installed header are the library's own business.
#
# abidiff's exit status is a bit set: 1 tool error, 2 usage error, 4 an ABI change that needs
# a look, 8 an incompatible change. With added symbols left out of the report, any change that
# remains touches what old clients use (a removed symbol, a changed type or layout, a changed
# return type), so 4 and 8 both fail, unless the baseline is updated in the same commit (and
# the SONAME raised when old plug-ins can no longer load). Additions pass with a note: refresh
# the baseline then, so that the new interface is guarded too.
set -euo pipefail
cd "$(dirname "$0")/.."
update=0
if [ "${1:-}" = "--update" ]; then
  update=1
  shift
fi
build=${1:-build/package}
baseline=abi/libplatform.abi
lib=$(find "$build" -maxdepth 1 -name 'libplatform.so.*.*' -type f | head -n 1)
[ -n "$lib" ] || { echo "check-abi: no libplatform.so.X.Y in $build" >&2; exit 1; }
command -v abidw >/dev/null || { echo "check-abi: abidw missing (Debian's abigail-tools)" >&2; exit 1; }

current=$(mktemp)
trap 'rm -f "$current"' EXIT
abidw --no-corpus-path --no-show-locs --headers-dir include/platform --headers-dir "$build/include/platform" \
      --out-file "$current" "$lib"
# Paths of translation units name this checkout: keep them relative, so that the baseline does
# not depend on where it was written.
sed -i "s|$(pwd)/||g" "$current"
if [ $update -eq 1 ]; then
  mkdir -p "$(dirname "$baseline")"
  cp "$current" "$baseline"
  echo "check-abi: baseline written from $lib"
  exit 0
fi
[ -f "$baseline" ] || { echo "check-abi: no baseline $baseline; run tools/check-abi.sh --update" >&2; exit 1; }

set +e
report=$(abidiff --no-added-syms "$baseline" "$current")
status=$?
abidiff "$baseline" "$current" >/dev/null
with_additions=$?
set -e
if [ $((status & 3)) -ne 0 ]; then
  echo "$report"
  echo "check-abi: abidiff failed (status $status)" >&2
  exit 1
fi
if [ $((status & 12)) -ne 0 ]; then
  echo "$report"
  echo "check-abi: the interface that old clients use changed against $baseline. Plug-ins" >&2
  echo "built against the old library would break. Keep the old interface, or update the" >&2
  echo "baseline (tools/check-abi.sh --update, and raise the SONAME when old plug-ins can no" >&2
  echo "longer work) in the same commit." >&2
  exit 1
fi
if [ "$with_additions" -ne 0 ]; then
  echo "check-abi: the library adds to the baseline's interface; run tools/check-abi.sh --update" \
       "so that the additions are guarded too"
fi
echo "check-abi: $(basename "$lib") keeps the ABI of $baseline"
