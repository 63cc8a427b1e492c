#!/usr/bin/env bash
# Black-box checks of `quillon graph`: the compiled list of a state's graph as a user sees it.
# An empty graph copies every lane from the input; a module the build does not know is
# skipped with its log line; a grid of nested graphs compiles to the processors, buffers, mix
# list and direct path that its routing calls for, whatever stored form the state comes in.
quillon="$1"
data="$2"
source "$(dirname "$0")/clitest.sh"

# The log goes to a folder of this run, so that the lines a run writes can be told apart.
export XDG_DATA_HOME="$work/data"
unset QUILLON_LOG_STDERR
log="$XDG_DATA_HOME/VarnholtStudios/Quillon.log"

# Runs `quillon graph` with the arguments given, expecting success, nothing on standard
# error and exactly the expected standard output.
expect_graph() {
  local what="$1" expected="$2"; shift 2
  "$quillon" graph "$@" >"$work/out" 2>"$work/err"
  local status=$?
  [ "$status" -eq 0 ] || fail "$what: status $status: $(cat "$work/err")"
  [ -s "$work/err" ] && fail "$what: wrote to standard error: $(cat "$work/err")"
  [ "$(cat "$work/out")" = "$expected" ] || fail "$what: printed
$(cat "$work/out")
expected
$expected"
}

# --- a graph without slots: no slot runs, the host input is copied on every lane
empty="direct copy: 0 1 2 3 4 5
latency 0"
cat >"$work/empty.xml" <<'STATE'
<?xml version="1.0" encoding="utf-8"?>
<Switchyardsettings Version="1050368"><Plugins/></Switchyardsettings>
STATE
expect_graph "empty graph" "$empty" --state "$work/empty.xml"

# --- an unknown module is skipped and logged; the graph it leaves is the empty one
rm -f "$log"
expect_graph "unknown module" "$empty" --state "$data/graph_unknown_module.xml"
grep -q 'Module not found: NoSuchModule' "$log" 2>/dev/null \
  || fail "unknown module: no log line 'Module not found: NoSuchModule'"

# --- a grid of nested graphs.
# First and Second share lane 0: Second reads what First wrote to buffer 1 and, as the last
# writer of an output lane with no latency, writes the host's buffer directly. Off is
# disabled and Unheard writes lane 1, whose output is off: neither runs. Side sits on lane 3
# with nothing above it, so it hears the side-chain (host bus 1), and its lane reaches the
# output through the mix list because lane 0 took the direct path. Ghost is unknown.
nested="row 0 col 0 First: in [host 0, host 0] out [L0/B1] latency 0
row 2 col 3 Side: in [host 1, host 1] out [L3/B1] latency 0
row 5 col 0 Second: in [L0/B1, L0/B1] out [host 0] latency 0
mix L3/B1 -> out 3
direct copy: none
latency 0"
rm -f "$log"
expect_graph "nested graphs" "$nested" --state "$data/graph_nested.xml"
grep -q 'Module not found: NoSuchModule' "$log" 2>/dev/null || fail "nested graphs: the unknown module was not logged"

# The same state in binary mark-up behind zlib compiles to the same list.
"$quillon" tree "$data/graph_nested.xml" --to rtgz -o "$work/nested.rtgz" || fail "tree --to rtgz"
expect_graph "nested graphs from rtgz" "$nested" --state "$work/nested.rtgz"

# --- bad input: one line on standard error, status 1, nothing printed. A setting would reach
# the graph only with a block, which this command never processes: --set is refused rather
# than ignored.
expect_refusal "missing state" graph --state "$work/missing.xml"
expect_refusal "a folder as state" graph --state "$work"
expect_refusal "--set" graph --state "$data/graph_nested.xml" --set "First - Enabled=Off"

finish "quillon graph: all checks passed"
