#pragma once
// RSharedOptions: switches of the product definition that tell module classes whether to make
// extra inner values automatable (a shape's points, a follower's equaliser, the ranges of a
// module's own multi-parameters). One record per product, read by one routine from the
// `plugin` element; every key optional. The keys keep their order: it is the order in which
// they are read and listed.
//
// [host-thread] at construction; read-only afterwards, from any thread.

#include <cstdint>

class RTagItem;

struct RSharedOptions {
  enum Key : int32_t {
    kOscAutomateStepSequencer,
    kOscAutomateCustomShape,
    kOscAutomateTransform,
    kOscAutomateShapeHarmonics,
    kOscAutomateHarmonics,
    kModulatorAutomateShape,
    kModularExMods,
    kModularExMPs,
    kFreeformEqAutomateShape,
    kDynamicsAutomateCustomShape,
    kDynamicsAutomateEq,
    kDenseVerbAutomateTaps,
    kDenseVerbAutomateMPRanges,
    kSqueezeStageAutomateMPRanges,
    kSqueezeStageAutomateFollowerEq,
    kSqueezeStageAutomateFollowerTransform,
    kSqueezeStageModulators,
    kDenseVerbModulators,
    kSpectralDynamicsAutomateShapes,
    kTransientAutomateShapes,
    kTransformerAutomateShapes,
    kKeyCount
  };

  struct KeyInfo {
    const char* Name;
    int32_t Default;
  };
  // Name and default of every key, in reading order.
  static const KeyInfo kKeys[kKeyCount];

  RSharedOptions();

  // Every key from the element's attributes; an absent key takes its default.
  void Read(const RTagItem& plugin);

  int32_t Get(Key key) const noexcept { return values_[key]; }
  bool IsOn(Key key) const noexcept { return values_[key] != 0; }

private:
  int32_t values_[kKeyCount];
};
