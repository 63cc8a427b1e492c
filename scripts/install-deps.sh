#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, and only those that
# are missing. Safe to run any number of times; silent when everything is present.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build ccache pkg-config clang libclang-rt-14-dev
  # libraries of the engine
  zlib1g-dev libbz2-dev libpng-dev libjpeg62-turbo-dev libfreetype-dev libhwy-dev
  libsndfile1-dev libcli11-dev libx11-dev lv2-dev
  # fonts of the skin
  fonts-dseg fonts-roboto
  # Unicode data for the fold-table generator
  unicode-data
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # real hosts for black-box tests
  lv2file lilv-utils sordi xvfb sox
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
