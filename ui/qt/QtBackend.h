#pragma once
// The desktop backend's entry points, free of Qt types so that the backend
// chooser can call them without including Qt.

#include <memory>
#include <string>

#include "ui/Application.h"

namespace rotalis::ui::qt {

// True when Qt can open the display the environment names. The attempt runs
// in a child process, because Qt ends the process when it cannot.
bool DisplayCanBeOpened();

std::unique_ptr<Application> CreateQtApplication();

// False when the form is not one of this backend's.
bool SaveFormImage(Form& form, const std::string& pngPath);

}  // namespace rotalis::ui::qt
