# What the black-box checks of the command line share; each script sources it after setting
# `quillon` to the tool's path. Every check records its failure and the script goes on, so one
# run reports all that is wrong; `finish` ends the script with the outcome.
set -uo pipefail
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0

fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

# Runs quillon expecting status 1, one line on standard error naming the tool, nothing on
# standard output.
expect_refusal() {
  local what="$1"; shift
  "$quillon" "$@" >"$work/out" 2>"$work/err"
  local status=$?
  [ "$status" -eq 1 ] || fail "$what: status $status, expected 1"
  [ "$(wc -l <"$work/err")" -eq 1 ] || fail "$what: expected one line on stderr, got: $(cat "$work/err")"
  grep -q '^quillon: ' "$work/err" || fail "$what: message does not start with 'quillon: '"
  [ -s "$work/out" ] && fail "$what: wrote to standard output: $(cat "$work/out")"
}

# Ends the script: status 1 and the count when a check failed, else the message given.
finish() {
  if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed" >&2
    exit 1
  fi
  echo "$1"
  exit 0
}
