#pragma once
// Musical test signals for demos and listening: a drum pattern and a held chord, synthesised
// from nothing so that the demo needs no sample file. Deterministic (seeded noise), stereo
// where the channels allow it, and scaled so that the loudest sample is at `peak`.
//
//   drums   120 bpm, one bar of sixteenths repeated: kick on 1, the "and" of 2 and 3, snare on
//           2 and 4, closed hats on every eighth (a little to the right)
//   chord   A minor seventh (A3 C4 E4 G4) of band-limited saw tones, struck every two seconds,
//           the notes spread across the stereo field

#include <cstdint>
#include <vector>

namespace quillon_cli {

void RenderDrums(std::vector<std::vector<float>>& channels, double rate, double peak);
void RenderChord(std::vector<std::vector<float>>& channels, double rate, double peak);

} // namespace quillon_cli
