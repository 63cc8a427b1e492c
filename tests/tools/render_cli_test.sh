#!/usr/bin/env bash
# Black-box checks of `quillon render`, `params` and `state`, run as a user runs them: files
# come out with the right length, rate, channels and samples (read back by sox), settings and
# states show where they should, every stored form round-trips, and bad input ends in one
# line on standard error with status 1.
quillon="$1"
source "$(dirname "$0")/clitest.sh"

soxi() { command soxi -V1 "$@"; }
# The largest sample of A minus B, as sox measures it.
max_difference() {
  sox -D -m -v 1 "$1" -v -1 "$2" -n stat 2>&1 | awk '/Maximum amplitude/ {max = $3} /Minimum amplitude/ {min = -$3}
    END {print (max > min ? max : min)}'
}
# Whether A and B hold the same samples, bit for bit, whatever their file formats.
same_samples() {
  cmp -s <(sox -D "$1" -t f32 -) <(sox -D "$2" -t f32 -)
}

# A graph with no slots: the product then passes its input through, and what is checked is
# the file handling around it.
cat >"$work/empty.xml" <<'STATE'
<?xml version="1.0" encoding="utf-8"?>
<Switchyardsettings Version="1050368"><Plugins/></Switchyardsettings>
STATE
empty=(--state "$work/empty.xml")

# --- a generated sine: length, rate, channels, format and content
"$quillon" render --generate sine:440:2 "$work/sine.wav" "${empty[@]}" >"$work/render.out" 2>"$work/render.err" \
  || fail "render --generate sine:440:2"
[ "$(soxi -s "$work/sine.wav")" = 96000 ] || fail "sine: $(soxi -s "$work/sine.wav") frames, expected 96000"
[ "$(soxi -r "$work/sine.wav")" = 48000 ] || fail "sine: rate $(soxi -r "$work/sine.wav")"
[ "$(soxi -c "$work/sine.wav")" = 2 ] || fail "sine: $(soxi -c "$work/sine.wav") channels"
soxi -e "$work/sine.wav" | grep -q 'Floating Point' || fail "generated audio is not written as float"
sox -D -n -r 48000 -c 2 -b 32 -e floating-point "$work/sox-sine.wav" synth 2 sine 440 vol 0.5
difference="$(max_difference "$work/sine.wav" "$work/sox-sine.wav")"
[ -n "$difference" ] && awk -v d="$difference" 'BEGIN {exit !(d < 0.0001)}' \
  || fail "the generated sine differs from sox's 440 Hz at half scale"
tail -n 1 "$work/render.out" | grep -Eq '^real-time factor: [0-9]+\.[0-9]x$' \
  || fail "render does not end with the real-time factor: $(tail -n 1 "$work/render.out")"
[ -s "$work/render.err" ] && fail "render wrote to standard error off a terminal: $(cat "$work/render.err")"
"$quillon" render --generate impulse:0.5 --rate 44100 --quiet "$work/impulse.wav" "${empty[@]}" >/dev/null || fail "--rate 44100"
[ "$(soxi -r "$work/impulse.wav")" = 44100 ] && [ "$(soxi -s "$work/impulse.wav")" = 22050 ] \
  || fail "--rate 44100: $(soxi -r "$work/impulse.wav") Hz, $(soxi -s "$work/impulse.wav") frames"

# --- an empty graph passes audio through: OUT equals IN at any block size, in its own format
for block in 1 7 512 8192; do
  "$quillon" render "$work/sine.wav" "$work/again.wav" "${empty[@]}" --block "$block" --quiet >/dev/null || fail "render --block $block"
  cmp -s "$work/sine.wav" "$work/again.wav" || fail "block $block: the pass-through changed the audio"
done
sox -D -n -r 44100 -c 1 -b 16 "$work/mono16.wav" synth 1.234 pinknoise vol 0.3
sox -D -n -r 44100 -c 2 -b 24 "$work/side24.wav" synth 0.5 whitenoise vol 0.3
"$quillon" render "$work/mono16.wav" "$work/mono-out.wav" "${empty[@]}" --quiet >/dev/null || fail "render a mono pcm16 file"
[ "$(soxi -c "$work/mono-out.wav")" = 1 ] && [ "$(soxi -b "$work/mono-out.wav")" = 16 ] \
  && [ "$(soxi -s "$work/mono-out.wav")" = "$(soxi -s "$work/mono16.wav")" ] \
  || fail "mono pcm16 in: $(soxi -c "$work/mono-out.wav") channels, $(soxi -b "$work/mono-out.wav") bits"
same_samples "$work/mono16.wav" "$work/mono-out.wav" || fail "mono pcm16 samples changed"
"$quillon" render "$work/mono16.wav" "$work/mono.flac" "${empty[@]}" --format pcm24 --quiet >/dev/null || fail "--format pcm24 to flac"
soxi -t "$work/mono.flac" | grep -q flac && [ "$(soxi -b "$work/mono.flac")" = 24 ] || fail "pcm24 FLAC not written"
same_samples "$work/mono16.wav" "$work/mono.flac" || fail "pcm24 FLAC samples changed"
"$quillon" render "$work/mono16.wav" "$work/side.aiff" "${empty[@]}" --sidechain "$work/side24.wav" --offline --quiet >/dev/null \
  && same_samples "$work/mono16.wav" "$work/side.aiff" || fail "render with a side chain, offline"

# --- settings and automation on the way. A control whose targets the empty graph lacks moves
# nothing; the product's bypass is dry once its crossfade from the first block is over.
"$quillon" render "$work/sine.wav" "$work/automated.wav" "${empty[@]}" --automate Morph=100%,1.0 \
  --automate Morph=0%,1.5 --quiet >/dev/null || fail "render --automate"
cmp -s "$work/sine.wav" "$work/automated.wav" || fail "automation changed pass-through audio"
"$quillon" render "$work/sine.wav" "$work/bypassed.wav" --set Bypass=On --quiet >/dev/null || fail "render --set Bypass=On"
same_samples <(sox -D "$work/sine.wav" -t wav - trim 0.1) <(sox -D "$work/bypassed.wav" -t wav - trim 0.1) \
  || fail "render --set Bypass=On is not the input after the crossfade"
expect_refusal "automation of a parameter a host doesn't see" render "$work/sine.wav" "$work/x.wav" \
  --automate Bypass=On,1

# --- the progress bar: on a terminal only, never with --quiet
if command -v script >/dev/null; then
  script -qec "'$quillon' render --generate noise:1 '$work/tty.wav'" /dev/null >"$work/tty" 2>&1
  grep -q '100%' "$work/tty" || fail "no progress bar on a terminal"
  script -qec "'$quillon' render --generate noise:1 --quiet '$work/tty.wav'" /dev/null >"$work/tty" 2>&1
  grep -q '%' "$work/tty" && fail "a progress bar despite --quiet"
  grep -Eq 'real-time factor: [0-9]+\.[0-9]x' "$work/tty" || fail "--quiet dropped the real-time factor"
fi

# --- params: the host's parameters by default, the whole table with --all
"$quillon" params >"$work/params" || fail "params"
grep -qP '^0\tMorph\t0\.500000\t50\.0%$' "$work/params" || fail "params does not start with Morph: $(head -3 "$work/params")"
[ "$(wc -l <"$work/params")" = 52 ] || fail "params lists $(wc -l <"$work/params") parameters, a host sees 52"
grep -qP '\tBypass\t' "$work/params" && fail "params lists Bypass, which a host reaches by its own id"
"$quillon" params --all >"$work/params" || fail "params --all"
grep -qP '^\d+\tBypass\t0\.000000\tOff$' "$work/params" || fail "params --all does not list Bypass off"
grep -qP '^\d+\tClip - Output gain\t' "$work/params" || fail "params --all does not list the modules' values"
# The whole table is long: it goes to a file, so that an early grep can't cut the writer short.
"$quillon" params --all --set Bypass=On >"$work/params" && grep -qP '\tBypass\t1\.000000\tOn$' "$work/params" \
  || fail "params --set Bypass=On"
"$quillon" params --set 0=@1 --set morph=25% | grep -qP '^0\tMorph\t0\.250000\t25\.0%$' \
  || fail "the last --set does not win, or names and texts are not case-folded"
"$quillon" params --all --json --set Bypass=On >"$work/params.json" || fail "params --json"
if [ -x /usr/bin/python3 ]; then
  /usr/bin/python3 -c 'import json, sys
p = json.load(open(sys.argv[1]))
b = [x for x in p if x["name"] == "Bypass"][0]
assert b["normalised"] == 1 and b["text"] == "On" and not b["automatable"], b
assert p[0]["name"] == "Morph" and p[0]["automatable"], p[0]' "$work/params.json" \
    || fail "params --json is not the expected JSON: $(cat "$work/params.json")"
else
  grep -q '"name": "Bypass", "normalised": 1, "text": "On"' "$work/params.json" || fail "params --json"
fi

# --- state: settings show, and every form reads back to the same state
# The root element, second line of the XML form, holds the product's own keys.
"$quillon" state | sed -n 2p | grep -q ' Bypass=' && fail "a default state stores Bypass"
"$quillon" state --set Bypass=On | sed -n 2p | grep -q ' Bypass="1"' || fail "state --set Bypass=On does not store it"
"$quillon" state --set Bypass=On --to rtg -o "$work/reference.rtg" || fail "state --to rtg"
for form in xml rtg rtgz chunk; do
  "$quillon" state --set Bypass=On --to "$form" -o "$work/state.$form" || fail "state --to $form"
  "$quillon" state --state "$work/state.$form" --to rtg -o "$work/back.rtg" || fail "state --state (a $form)"
  cmp -s "$work/reference.rtg" "$work/back.rtg" || fail "the $form form does not read back to the same state"
  "$quillon" params --all --state "$work/state.$form" >"$work/params" \
    && grep -qP '\tBypass\t1\.000000\tOn$' "$work/params" \
    || fail "params --state (a $form) does not show Bypass on"
done
"$quillon" tree "$work/state.chunk" --to rtgz | cmp -s - "$work/state.rtgz" || fail "the chunk is not the compressed tree"

# --- bad input
echo "this is text, not audio" >"$work/text.wav"
head -c 300 /dev/urandom >"$work/noise.bin"
expect_refusal "unknown parameter (params)" params --set Nope=1
expect_refusal "unknown parameter (render)" render "$work/sine.wav" "$work/x.wav" --set Nope=1
expect_refusal "unknown parameter index" state --set 99999=On
expect_refusal "automation of an unknown parameter" render "$work/sine.wav" "$work/x.wav" --automate Nope=On,1
expect_refusal "bad value" params --set Bypass=maybe
expect_refusal "bad normalised value" params --set Bypass=@2
expect_refusal "bad automation time" render "$work/sine.wav" "$work/x.wav" --automate Bypass=On,soon
expect_refusal "automation without a time" render "$work/sine.wav" "$work/x.wav" --automate Bypass=On
expect_refusal "missing input" render "$work/missing.wav" "$work/x.wav"
# --- oversampling: --offline picks the offline factor; the output is compensated by the
# filters' delay (lined up with the input), or keeps it with --raw-latency.
offline_2x=("${empty[@]}" --set "Oversampling (offline)=2x")
"$quillon" render "$work/sine.wav" "$work/os-live.wav" "${offline_2x[@]}" --quiet >"$work/os-live.out" \
  || fail "render with an offline factor, live"
grep -q "latency 0 compensated" "$work/os-live.out" || fail "a live render ran the offline factor: $(head -n 1 "$work/os-live.out")"
"$quillon" render "$work/sine.wav" "$work/os-offline.wav" "${offline_2x[@]}" --offline --quiet >"$work/os-offline.out" \
  || fail "render --offline with an offline factor"
latency="$(sed -n 's/.*latency \([0-9]*\) compensated.*/\1/p' "$work/os-offline.out")"
[ -n "$latency" ] && [ "$latency" -gt 0 ] || fail "--offline did not oversample: $(head -n 1 "$work/os-offline.out")"
[ "$(soxi -s "$work/os-offline.wav")" = "$(soxi -s "$work/sine.wav")" ] || fail "the compensated render changed the length"
difference="$(max_difference "$work/sine.wav" "$work/os-offline.wav")"
awk -v d="$difference" 'BEGIN {exit !(d < 0.001)}' || fail "2x offline: the sine came back $difference off, not lined up"
"$quillon" render "$work/sine.wav" "$work/os-raw.wav" "${offline_2x[@]}" --offline --raw-latency --quiet >/dev/null \
  || fail "render --offline --raw-latency"
difference="$(max_difference "$work/sine.wav" "$work/os-raw.wav")"
awk -v d="$difference" 'BEGIN {exit !(d > 0.01)}' || fail "--raw-latency: the oversampled output is not delayed"
# Through a file: grep -q leaving early would cut params off mid-write.
"$quillon" params --all "${offline_2x[@]}" >"$work/os-params.out" || fail "params with an offline factor"
grep -q "Oversampling (offline).*2x" "$work/os-params.out" || fail "params does not show the offline factor"

expect_refusal "unreadable audio" render "$work/text.wav" "$work/x.wav"
expect_refusal "unreadable side chain" render "$work/sine.wav" "$work/x.wav" --sidechain "$work/noise.bin"
expect_refusal "missing state" params --state "$work/missing.state"
expect_refusal "state that holds no tree" state --state "$work/noise.bin"
expect_refusal "unknown signal" render --generate square:440 "$work/x.wav"
expect_refusal "--rate without --generate" render "$work/sine.wav" "$work/x.wav" --rate 44100
expect_refusal "unknown sample format" render "$work/sine.wav" "$work/x.wav" --format pcm8
expect_refusal "float FLAC" render "$work/sine.wav" "$work/x.flac" --format float
expect_refusal "output folder missing" render "$work/sine.wav" "$work/no/such/folder.wav"
expect_refusal "no output" render "$work/sine.wav"
expect_refusal "block size 0" render "$work/sine.wav" "$work/x.wav" --block 0
expect_refusal "unknown state form" state --to wav
[ -e "$work/x.wav" ] && fail "a refused render left an output file"

# A refused render leaves an existing output as it was.
cp "$work/mono16.wav" "$work/kept.wav"
"$quillon" render "$work/sine.wav" "$work/kept.wav" --set Bypass=maybe 2>/dev/null
cmp -s "$work/mono16.wav" "$work/kept.wav" || fail "a refused render changed the output file"

finish "all render, params and state checks passed"
