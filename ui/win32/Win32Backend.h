#pragma once
// The Windows desktop backend's entry points, free of Windows types so that
// the backend chooser can call them without including <windows.h>.

#include <memory>
#include <string>

#include "ui/Application.h"
#include "ui/CrashUi.h"

namespace rotalis::ui::win32 {

// True when this process can show windows: a hidden top-level window can be
// made (and is destroyed again).
bool DesktopCanBeOpened();

std::unique_ptr<Application> CreateWin32Application();

// Usable without the application object (the crash watcher, or a crash
// before the program built one).
std::unique_ptr<CrashUi> CreateWin32CrashUi();

// False when the form is not one of this backend's.
bool SaveFormImage(Form& form, const std::string& pngPath);

// Draws the crash dialog as it opens, without waiting for a choice, and
// writes it as a PNG file. False when it cannot.
bool SaveCrashDialogImage(const CrashDialogSpec& spec, const std::string& pngPath);

}  // namespace rotalis::ui::win32
