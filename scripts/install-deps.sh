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

source "$(dirname "$0")/install-missing.sh"
install_missing install-deps "${packages[@]}"
