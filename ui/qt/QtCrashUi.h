#pragma once
// The crash reporter's windows on the desktop, free of Qt types so that the
// backend chooser can name it without including Qt.

#include <memory>

#include "ui/CrashUi.h"

namespace rotalis::ui::qt {

// Uses the process's QApplication, or makes one when there is none yet (the
// crash watcher, or a crash before the application object was built).
std::unique_ptr<CrashUi> CreateQtCrashUi();

}  // namespace rotalis::ui::qt
