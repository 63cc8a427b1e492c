#include "modules/levelplacer/levelplacer.h"

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/blockstages.h"
#include "modules/dsp/gainstages.h"
#include "modules/levelplacer/widening.h"

namespace {

// 10^(6 / 20): the law's plain setting, 6 dB, as a factor.
constexpr double kPlainLaw = 1.9952623149688795;

} // namespace

RLevelPlacer::RLevelPlacer()
    : RAudioPlugin(RString("LevelPlacer")),
      volume_(this, RString("Volume"), 1.0, 1.0, RString(), RString("controls the output level.")),
      gain_(this, RString("Gain"), -24.0, 24.0, 0.0, RString(), RString(), RString("defines the output gain.")),
      panorama_(this, RString("Panorama"), -1.0, 1.0, 0.0, RString(), RString("defines the output panorama.")),
      panoramaLaw_(this, RString("Panorama law"), -12.0, 12.0, 6.0, RString(), RString("PanoramaLaw"),
                   RString("How much level a signal gains as it moves to a side: at 6 dB none, above it the "
                           "sides are louder, below it quieter.")),
      gainLeft_(this, RString("Gain left"), -24.0, 24.0, 0.0, RString(), RString("GainLeft"),
                RString("Gain of the left channel.")),
      gainRight_(this, RString("Gain right"), -24.0, 24.0, 0.0, RString(), RString("GainRight"),
                 RString("Gain of the right channel.")),
      widening_(this, RString("Widening"), -1.0, 2.0, 0.0, RString(),
                RString("Width of the stereo image at constant level: -100% is mono, 0% leaves it as it is, "
                        "200% triples the sides against the centre.")) {
  gain_.SetAltName(RString("Output"));
}

double RLevelPlacer::PanLawGain(double lawFactor) noexcept { return lawFactor / kPlainLaw; }

void RLevelPlacer::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0) return;
  const int32_t channels = processChannels_;
  // Gain goes from input to output in one pass; every later stage works in place.
  const RBlockRamp gain = TakeBlockRamp(gain_, frames);
  for (int32_t c = 0; c < channels; ++c) {
    if (outputs[c]) GainStage(inputs ? inputs[c] : nullptr, outputs[c], frames, gain.start, gain.step);
  }
  ApplyGain(volume_, outputs, channels, frames);

  float* left = channels >= 1 ? outputs[0] : nullptr;
  float* right = channels >= 2 ? outputs[1] : nullptr;
  ApplyGain(gainLeft_, &left, 1, frames);
  ApplyGain(gainRight_, &right, right ? 1 : 0, frames);
  // The law follows its value block by block; a glide of the law alone needs no finer steps.
  ApplyPanorama(panorama_, left, right, frames, PanLawGain(panoramaLaw_.GetProcessing()));
  panoramaLaw_.MarkRampDone();
  ApplyWidening(widening_, left, right, frames);
}

void RegisterLevelPlacer() {
  RModuleRegistry::RegisterClass<RLevelPlacer>(RString("LevelPlacer"));
}
