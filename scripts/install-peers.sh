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

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-peers: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
