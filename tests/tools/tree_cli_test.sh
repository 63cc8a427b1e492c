#!/usr/bin/env bash
# Black-box checks of `quillon tree`: every form reads back to the same tree, and bad input
# ends in one line on standard error with status 1.
set -uo pipefail
quillon="$1"
sample="$2"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0

fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

# Runs quillon expecting status 1 and exactly one line on standard error that names the tool.
expect_refusal() {
  local what="$1"; shift
  "$quillon" "$@" >"$work/out" 2>"$work/err"
  local status=$?
  [ "$status" -eq 1 ] || fail "$what: status $status, expected 1"
  [ "$(wc -l <"$work/err")" -eq 1 ] || fail "$what: expected one line on stderr, got: $(cat "$work/err")"
  grep -q '^quillon: ' "$work/err" || fail "$what: message does not start with 'quillon: '"
  [ -s "$work/out" ] && fail "$what: wrote to standard output"
}

"$quillon" tree "$sample" --to rtg -o "$work/reference.rtg" || fail "xml to rtg"
[ -s "$work/reference.rtg" ] || fail "rtg output is empty"
for form in xml rtg rtgz base64; do
  "$quillon" tree "$sample" --to "$form" -o "$work/sample.$form" || fail "write $form"
  "$quillon" tree "$work/sample.$form" --to rtg -o "$work/back.rtg" || fail "read $form"
  cmp -s "$work/reference.rtg" "$work/back.rtg" || fail "$form does not read back to the same tree"
done
head -c 1 "$work/sample.base64" | grep -q '\$' || fail "base64 form does not start with '\$'"
[ "$(head -c 2 "$work/sample.rtgz" | od -An -tx1 | tr -d ' ')" = "78da" ] || fail "rtgz is not zlib at the best level"

# Standard input and standard output.
"$quillon" tree - --to xml <"$work/sample.rtgz" >"$work/stdin.xml" || fail "read from standard input"
"$quillon" tree "$work/stdin.xml" --to rtg -o "$work/back.rtg" && cmp -s "$work/reference.rtg" "$work/back.rtg" \
  || fail "standard input round trip differs"

: >"$work/empty"
expect_refusal "empty file" tree "$work/empty"
printf 'neither xml nor a tree: \x01\x02\x03\xff' >"$work/noise"
expect_refusal "noise" tree "$work/noise"
expect_refusal "missing file" tree "$work/does-not-exist.xml"
expect_refusal "unknown form" tree "$sample" --to wav
expect_refusal "no command" 

# A refused conversion leaves an existing output file as it was.
cp "$work/reference.rtg" "$work/kept.rtg"
"$quillon" tree "$work/noise" --to rtg -o "$work/kept.rtg" 2>/dev/null
cmp -s "$work/reference.rtg" "$work/kept.rtg" || fail "a refused conversion changed the output file"

[ "$failures" -eq 0 ] && echo "all tree command checks passed"
exit $((failures > 0))
