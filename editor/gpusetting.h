#pragma once
// The user's choice of painter: through the graphics card or in software. Kept in GPU.xml in
// the settings folder (root item "GPU", attribute "Enable"), read and written as any stored
// tree: whatever stored form the file holds is read, and it is written in the system's stored
// form. An absent file or attribute means the default.
//
// Until a painter on the graphics card exists the windows paint in software whatever the
// choice; the choice and the text shown on falling back are kept so that the menu and a later
// card painter find them.
//
// [editor-thread]

#include "base/exception.h"
#include "base/string.h"

namespace RGpuSetting {

constexpr const char* kFileName = "GPU.xml";
constexpr const char* kElement = "GPU";
constexpr const char* kEnableKey = "Enable";
constexpr bool kDefaultEnable = false;

// Shown when painting through the card fails and the window goes on in software; the failure's
// own message follows it.
constexpr const char* kFallbackMessage =
    "Sorry, your system is out of GPU resources. The software will switch to CPU emulated mode. Please consider "
    "buying a modern graphics card. If this occurs commonly, use software settings to disable GPU acceleration "
    "permanently.\n\nInformation: ";

// The text for a failure of the card's painter.
RString FallbackMessage(const RException& failure);

// The choice in folder (ending with a separator; empty: the user's settings folder). A file
// that can't be read gives the default and is reported to the log.
bool Load(const RString& folder = RString());
// Writes the choice, making the folder when needed. Throws RException when it can't.
void Save(bool enable, const RString& folder = RString());

} // namespace RGpuSetting
