# Sourced by the install scripts: install_missing NAME PACKAGE... installs those of the Debian
# packages that are not installed yet, saying so under NAME; silent when all are present.
install_missing() {
  local name="$1"; shift
  local missing=() p
  for p in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$p")
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  echo "$name: installing ${missing[*]}"
  local sudo_cmd=()
  [ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -qq
  "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
