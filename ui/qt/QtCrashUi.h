#pragma once
// The crash reporter's windows on the desktop, free of Qt types so that the
// backend chooser can name it without including Qt.

#include <memory>
#include <string>

#include "ui/CrashUi.h"

namespace rotalis::ui::qt {

// Uses the process's QApplication, or makes one when there is none yet (the
// crash watcher, or a crash before the application object was built).
std::unique_ptr<CrashUi> CreateQtCrashUi();

// Draws the crash dialog as it opens, without waiting for a choice, and
// writes it as a PNG file (documentation screenshots). False when it cannot.
bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath);

}  // namespace rotalis::ui::qt
