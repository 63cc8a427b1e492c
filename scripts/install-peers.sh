#!/usr/bin/env bash
# Installs the open-source LV2 effects that scripts/compare-peers.sh sets our modules beside,
# with the file host and the signal generator it drives them with. Only what is missing is
# installed; silent when everything is present. Not part of install-deps.sh: the build and CI
# never need these.
set -euo pipefail

packages=(
  # host, test signal, timer and the table's arithmetic
  lv2file lilv-utils sox time python3
  # the peers
  calf-plugins mda-lv2 swh-lv2 x42-plugins lsp-plugins-lv2 zam-plugins dpf-plugins-lv2
  invada-studio-plugins-lv2
)

source "$(dirname "$0")/install-missing.sh"
install_missing install-peers "${packages[@]}"
