#!/usr/bin/env bash
# Sets the cost of our effect modules beside open-source LV2 effects that do the same kind of
# work, measured in the same run on the same machine.
#
#   scripts/compare-peers.sh [BUILD_DIR]        BUILD_DIR defaults to build/
#
# BUILD_DIR must hold bench/bench_modules (configure with -DQUILLON_BENCH=ON, preferably
# Release). Installs nothing: lv2file, sox and the peers come from scripts/install-peers.sh.
#
# Peers: each runs under lv2file in 512-frame blocks over ten minutes of 48 kHz stereo (pink
# noise per channel with a 20 Hz - 20 kHz sweep, peak -12 dBFS), three times under
# /usr/bin/time. Its cost is the median user time less that of a pass-through plug-in run the
# same way (file reading and writing, the host's own work), per audio second. A mono peer gets
# a mono file and a mono pass-through baseline, and its cost is doubled for stereo. Figures
# below about 0.0005 CPU s per audio s are within the noise of the timer.
#
# Ours: every benchmark of bench_modules whose name starts with a kind's prefix; its cost per
# stereo frame (the "per_frame" counter in seconds, else items/s) becomes CPU seconds per audio second at
# 48 kHz. Kinds whose benchmark isn't built yet are left out.
#
# Prints one table: kind, our benchmark, our cost, peer, peer cost, ratio (ours / peer).
set -euo pipefail

build="${1:-build}"
runs=3
rate=48000
repeats=10  # the 60 s signal played this many times, so that a process timer resolves it

fail() {
  echo "compare-peers: $*" >&2
  exit 1
}

# kind | our benchmark prefix | peer | URI | settings | channels the peer processes
peers=(
  "bit crusher|BM_WordMangler|Calf Crusher|http://calf.sourceforge.net/plugins/Crusher|bits:8 samples:6|2"
  "bit crusher|BM_WordMangler|MDA Degrade|http://drobilla.net/plugins/mda/Degrade|quant:0.45 rate:0.6|2"
  "decimator|BM_Decimator|SWH Decimator|http://plugin.org.uk/swh-plugins/decimator|bits:8 fs:8000|1"
  "bit-level|BM_WordMangler|SWH Pointer-cast distortion|http://plugin.org.uk/swh-plugins/pointerCastDistortion|cutoff:2000 wet:1|1"
  "delay|BM_EchoTaps|Calf Vintage Delay|http://calf.sourceforge.net/plugins/VintageDelay|bpm:120 subdiv:4 time_l:3 time_r:5 feedback:0.5 amount:0.5|2"
  "delay|BM_EchoTaps|ZamDelay|urn:zamaudio:ZamDelay|time:375 feedb:0.5 drywet:0.5|1"
  "frequency shifter|BM_HertzSlider|SWH Bode|http://plugin.org.uk/swh-plugins/bodeShifter|shift:100|1"
  "granular|BM_GrainCloud|ZamGrains|urn:zamaudio:ZamGrains|grains:8 gs:2 ps:1 time:250|1"
  "granular|BM_GrainCloud|DPF MaPitchshift|http://distrho.sf.net/plugins/MaPitchshift|ratio:1.5 window:100 blur:0.1|1"
  "filter|BM_SpanFilter|Calf Filter 12 dB LP|http://calf.sourceforge.net/plugins/Filter|mode:0 freq:1000 res:0.707|2"
  "filter|BM_SpanFilter|x42 fil4 HP|http://gareus.org/oss/lv2/fil4#stereo|HighPass:1 HPfreq:1000 HPQ:0.7 LSsec:0 sec1:0 sec2:0 sec3:0 sec4:0 HSsec:0|2"
  "gain/pan|BM_LevelPlacer|Calf Stereo Tools|http://calf.sourceforge.net/plugins/StereoTools|level_out:0.5 balance_out:0.3|2"
)
# Pass-through baselines: x42's straight stereo routing and SWH's amplifier at 0 dB.
baseline_stereo="http://gareus.org/oss/lv2/stereoroute|routing:6"
baseline_mono="http://plugin.org.uk/swh-plugins/amp|gain:0"

# --- what the run needs
missing=()
for tool in lv2file lv2ls sox python3; do
  command -v "$tool" >/dev/null 2>&1 || missing+=("$tool")
done
[ -x /usr/bin/time ] || missing+=("/usr/bin/time")
if [ ${#missing[@]} -eq 0 ]; then
  installed="$(lv2ls)"
  for entry in "${peers[@]}" "$baseline_stereo" "$baseline_mono"; do
    uri="$(awk -F'|' '{ print (NF >= 4 ? $4 : $1) }' <<<"$entry")"
    grep -qxF "$uri" <<<"$installed" || missing+=("$uri")
  done
fi
if [ ${#missing[@]} -gt 0 ]; then
  echo "compare-peers: missing: ${missing[*]}" >&2
  fail "run scripts/install-peers.sh (as root or with sudo) to install the host, sox and the peers"
fi
bench="$build/bench/bench_modules"
[ -x "$bench" ] || fail "$bench not found: configure $build with -DQUILLON_BENCH=ON and build bench_modules"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# --- the test signal
echo "compare-peers: making $((60 * repeats)) s of test signal" >&2
sox -n -r "$rate" -c 2 -b 32 -e floating-point "$work/in.wav" synth 60 pinknoise pinknoise \
  synth 60 sine mix 20/20000 sine mix 20/20000 norm -12
sox "$work/in.wav" "$work/stereo.wav" repeat $((repeats - 1))
sox "$work/stereo.wav" "$work/mono.wav" remix 1
audio_seconds=$((60 * repeats))

# Median user seconds of $runs runs of lv2file over a file: input, URI, settings.
median_user() {
  local input="$1" uri="$2" settings="$3" times=() args=() s
  for s in $settings; do args+=(-p "$s"); done
  for ((i = 0; i < runs; ++i)); do
    /usr/bin/time -f "%U" -o "$work/time" \
      lv2file --ignore-clipping -b 512 -i "$input" -o "$work/out.wav" "${args[@]}" "$uri" >/dev/null 2>"$work/err" ||
      fail "lv2file failed on $uri: $(tail -1 "$work/err")"
    times+=("$(tail -1 "$work/time")")
  done
  printf '%s\n' "${times[@]}" | sort -g | sed -n "$(((runs + 1) / 2))p"
}

echo "compare-peers: pass-through baselines" >&2
base_stereo="$(median_user "$work/stereo.wav" "${baseline_stereo%%|*}" "${baseline_stereo#*|}")"
base_mono="$(median_user "$work/mono.wav" "${baseline_mono%%|*}" "${baseline_mono#*|}")"

: >"$work/peers.tsv"
for entry in "${peers[@]}"; do
  IFS='|' read -r kind prefix name uri settings channels <<<"$entry"
  echo "compare-peers: $name" >&2
  if [ "$channels" = 1 ]; then
    user="$(median_user "$work/mono.wav" "$uri" "$settings")"
    base="$base_mono"
  else
    user="$(median_user "$work/stereo.wav" "$uri" "$settings")"
    base="$base_stereo"
  fi
  printf '%s\t%s\t%s\t%s\t%s\t%s\n' "$kind" "$prefix" "$name" "$user" "$base" "$channels" >>"$work/peers.tsv"
done

# --- ours
echo "compare-peers: our modules ($bench)" >&2
"$bench" --benchmark_format=json >"$work/ours.json" 2>/dev/null || fail "$bench failed"

python3 - "$work/peers.tsv" "$work/ours.json" "$audio_seconds" "$rate" "$base_stereo" "$base_mono" <<'EOF'
import json, sys

peers_path, ours_path, audio_seconds, rate = sys.argv[1], sys.argv[2], float(sys.argv[3]), float(sys.argv[4])
noise = 0.0005

ours = []
for b in json.load(open(ours_path)).get("benchmarks", []):
    if b.get("run_type", "iteration") != "iteration":
        continue
    if "per_frame" in b:
        seconds_per_frame = float(b["per_frame"])
    elif "s/sample" in b:
        seconds_per_frame = float(b["s/sample"])
    elif b.get("items_per_second"):
        seconds_per_frame = 1.0 / float(b["items_per_second"])
    else:
        continue
    if seconds_per_frame > 0.0:
        ours.append((b["name"], seconds_per_frame * rate))

rows = []
for line in open(peers_path):
    kind, prefix, name, user, base, channels = line.rstrip("\n").split("\t")
    cost = (float(user) - float(base)) / audio_seconds * (2.0 if channels == "1" else 1.0)
    label = name + (" (mono x2)" if channels == "1" else "")
    for bench, our_cost in ours:
        if bench == prefix or bench.startswith(prefix + "_") or bench.startswith(prefix + "/"):
            ratio = "%.2f" % (our_cost / cost) if cost >= noise else "(peer in noise)"
            rows.append((kind, bench, "%.5f" % our_cost, label, "%.5f" % cost, ratio))

header = ("kind", "our module", "our cost", "peer", "peer cost", "ratio")
widths = [max(len(str(r[i])) for r in rows + [header]) for i in range(len(header))]
line = lambda r: "| " + " | ".join(str(v).ljust(w) for v, w in zip(r, widths)) + " |"
print("Net CPU seconds per audio second, 48 kHz stereo, 512-frame blocks; ratio = ours / peer.")
print(line(header))
print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
for r in rows:
    print(line(r))
if not rows:
    print("(no benchmark of ours matched a kind yet)")
print("Pass-through baselines taken off: stereo %.5f, mono %.5f CPU s per audio s."
      % (float(sys.argv[5]) / audio_seconds, float(sys.argv[6]) / audio_seconds))
EOF
