#pragma once
// RParameterMenu: the menu a context click on a control opens for its parameter ("Default
// value", "Help", and what the editor adds). The kernel only decides whether a menu is due;
// the editor installs the presenter that builds and shows it. Until one is installed no menu
// shows, and the click goes on to the control.
//
// [editor-thread], except the preference, which any thread may read.

#include <cstdint>

#include "kernel/value.h"

class RAudioPluginBase;

class RParameterMenu {
public:
  // Shows the menu of a parameter (index may be out of range: then normalised is 0); returns
  // whether a menu was shown.
  using Presenter = bool (*)(RAudioPluginBase& plugin, int32_t index, double normalised);

  // nullptr removes the presenter.
  static void SetPresenter(Presenter presenter) noexcept;

  // The process-wide preference: when on, a plain context click opens the menu and a click
  // with a modifier goes to the control; when off, the other way round.
  static void SetOpensOnPlainClick(bool on) noexcept;
  static bool OpensOnPlainClick() noexcept;

  // Due when exactly one holds: the preference is on, or one of the modifier bits is set.
  static bool IsDue(const RValue::MouseEvent& event) noexcept;

  // Shows the menu when it is due and a presenter is installed; returns whether it was shown.
  static bool Open(RAudioPluginBase& plugin, int32_t index, double normalised, const RValue::MouseEvent& event);

  // The three modifier bits a control reports.
  static constexpr uint32_t kModifierMask = 0x7;
};
