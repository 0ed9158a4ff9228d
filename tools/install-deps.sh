#!/usr/bin/env bash
# Installs what building and testing the project needs on a Debian machine, skipping what is
# already there. Optional peers for the benchmarks are installed too when possible; the build
# works without them.
set -euo pipefail

# One package a line, so that additions merge cleanly.
required=(
  cmake
  g++
  clang-14
  make
  pkg-config
  libgtest-dev
  libgmock-dev
  libbenchmark-dev
  dpkg-dev
  file
  lintian
  tzdata
  tmux
  doxygen
  valgrind
  libclang-rt-14-dev
  abigail-tools
)
# Peers of the benchmarks.
optional=(
  libicu-dev
  uuid-dev
  libboost-dev
  libcctz-dev
  libsimpleini-dev
  libinih-dev
  # Read by tools/gen_windows_zones.py only; the build never needs it.
  unicode-cldr-core
)

missing=()
for pkg in "${required[@]}" "${optional[@]}"; do
  dpkg -s "$pkg" >/dev/null 2>&1 || missing+=("$pkg")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
for pkg in "${missing[@]}"; do
  if ! apt-get install -y -qq "$pkg" >/dev/null; then
    case " ${optional[*]} " in
      *" $pkg "*) echo "note: optional package $pkg could not be installed" ;;
      *) echo "error: could not install $pkg" >&2; exit 1 ;;
    esac
  fi
done
