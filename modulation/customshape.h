#pragma once
// RCustomShape: the wave source a modulator holds, as stored. A menu of sources ("Shape",
// "Custom morph", "Step sequencer", "Smoothness"), the preset wave selected by index, wave
// parameters, a point shape used as wave (the "Envelope" child) and a step sequencer (the
// "Step" child with one "Item" per step).
//
// Threads: [editor-thread]; the modulator turns this into its compiled wave.

#include <cstdint>
#include <vector>

#include "base/string.h"
#include "modulation/shape.h"

class RStoreContext;

class RCustomShape {
public:
  enum Source : int32_t { kSourceShape, kSourceCustomMorph, kSourceStepSequencer, kSourceSmoothness, kSourceCount };
  // "Shape", "Custom morph", "Step sequencer", "Smoothness"; empty for an unknown index.
  static RString GetSourceName(int32_t source);

  struct Steps {
    int32_t ItemCount = 16;      // StepItemCount
    double Depth = 1.0;          // StepDepth
    bool BaseLowest = false;     // StepBaseLowest
    int32_t Quantization = 0;    // StepQuantization
    RString PresetName;          // STEPPRESET
    std::vector<double> Items;   // one "Item" child each, key "Value"
  };

  int32_t Value = 0;  // index into the preset waves
  bool Normalize = false;
  bool InterpolateShapeChanges = false;
  bool Assignable = false;
  double Harmonics = 0;
  double Smoothness = 0;
  double EnvelopeDepth = 1.0;
  RShape Envelope;
  Steps Step;
  std::vector<int32_t> Types;  // curve kinds of the custom form, stored as "0,6,8"

  // Reads or writes the keys and children at the context's element. The legacy key
  // "Interpolate10" is read when "InterpolateShapeChanges" is absent.
  void Store(RStoreContext& context);
};
