#!/usr/bin/env bash
# Checks the Debian packages of the "package" preset: lintian finds no errors in them, and a
# consumer builds and runs against both packages unpacked into a scratch root, once through
# find_package(platform) and once through pkg-config.
#   tools/check-packages.sh [PACKAGE_DIR]      (default: build/package)
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build/package}
shopt -s nullglob
debs=("$dir"/libplatform*.deb)
[ ${#debs[@]} -eq 2 ] || { echo "expected two packages in $dir, found ${#debs[@]}" >&2; exit 1; }

echo "lintian ${debs[*]}"
# CPack writes an ldconfig call into the maintainer scripts of every package that has a shared
# object in /usr/lib; the package's ldconfig trigger does that work, so the call's warning is
# noise.
lintian --fail-on error --suppress-tags maintscript-calls-ldconfig "${debs[@]}"

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for deb in "${debs[@]}"; do
  dpkg-deb -x "$deb" "$root"
done
for mode in cmake pkgconfig; do
  work="$root/consumer-$mode"
  cmake -S tests/install -B "$work" -DCONSUME_WITH=$mode -DCMAKE_PREFIX_PATH="$root/usr" \
        -DCMAKE_BUILD_TYPE=Release > "$work.log" 2>&1 || { cat "$work.log"; exit 1; }
  cmake --build "$work" >> "$work.log" 2>&1 || { cat "$work.log"; exit 1; }
  out=$(LD_LIBRARY_PATH="$root/usr/lib/x86_64-linux-gnu" "$work/consumer")
  case "$out" in
    "CAF 4"*) echo "consumer via $mode against the unpacked packages: $out" ;;
    *) echo "consumer via $mode printed: $out" >&2; exit 1 ;;
  esac
done
