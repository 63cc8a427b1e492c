#pragma once
// RLevelPlacer: sets a signal's level, its place in the stereo field and its width, in this
// order: Gain, Volume, GainLeft on channel 0 and GainRight on channel 1, Panorama with
// PanoramaLaw, Widening. Every stage glides per sample while its value moves. On one channel
// only the gains act: there is no field to place it in.
//
// The pan moves the far channel over rather than fading it (kernel/blockstages.h); the law
// in decibels sets how much level the sides gain, 6 dB being the plain form, so that
// f = 10^((law - 6) / 20) scales the output by 1 + (f - 1) |pan|.
//
// Parameters, in table order: Volume, Gain ("Output"), Panorama, PanoramaLaw, GainLeft,
// GainRight, Widening.
//
// Threads: constructed and set up on the editor or host thread; Process on the audio thread,
// allocation-free. No state beyond the values' ramps.

#include <memory>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"

class RLevelPlacer : public RAudioPlugin {
public:
  RLevelPlacer();

  RVolumeValue& GetVolume() noexcept { return volume_; }
  RGainValue& GetGain() noexcept { return gain_; }
  RPanValue& GetPanorama() noexcept { return panorama_; }
  RGainValue& GetPanoramaLaw() noexcept { return panoramaLaw_; }
  RGainValue& GetGainLeft() noexcept { return gainLeft_; }
  RGainValue& GetGainRight() noexcept { return gainRight_; }
  RPercentValue& GetWidening() noexcept { return widening_; }

  // The pan law's scale at the sides for a law given as a linear gain (the PanoramaLaw
  // value): 1 at 6 dB.
  static double PanLawGain(double lawFactor) noexcept;

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

private:
  // Declared in the table's order: each registers itself as it is made.
  RVolumeValue volume_;
  RGainValue gain_;
  RPanValue panorama_;
  RGainValue panoramaLaw_;
  RGainValue gainLeft_;
  RGainValue gainRight_;
  RPercentValue widening_;
};

// Enters "LevelPlacer" into the module registry. [host-thread], at start.
void RegisterLevelPlacer();
