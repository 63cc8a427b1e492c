#include "kernel/parametermenu.h"

#include <atomic>

namespace {
std::atomic<RParameterMenu::Presenter> gPresenter{nullptr};
// Most hosts' users expect a right click on a knob to open its menu.
std::atomic<bool> gOpensOnPlainClick{true};
} // namespace

void RParameterMenu::SetPresenter(Presenter presenter) noexcept { gPresenter.store(presenter); }

void RParameterMenu::SetOpensOnPlainClick(bool on) noexcept { gOpensOnPlainClick.store(on); }

bool RParameterMenu::OpensOnPlainClick() noexcept { return gOpensOnPlainClick.load(); }

bool RParameterMenu::IsDue(const RValue::MouseEvent& event) noexcept {
  const bool modified = (event.modifiers & kModifierMask) != 0;
  return OpensOnPlainClick() != modified;
}

bool RParameterMenu::Open(RAudioPluginBase& plugin, int32_t index, double normalised, const RValue::MouseEvent& event) {
  if (!IsDue(event)) return false;
  const Presenter presenter = gPresenter.load();
  return presenter && presenter(plugin, index, normalised);
}
