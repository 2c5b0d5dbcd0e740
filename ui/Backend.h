#pragma once
// Chooses the user interface the program runs with.

#include <memory>

#include "ui/Application.h"

namespace rotalis::ui {

enum class BackendKind { Console, Desktop };

// Desktop when this build has the Qt backend, a display is named in the
// environment (DISPLAY or WAYLAND_DISPLAY) and Qt can open it, or on Windows
// when the process can make a window (under Wine also a display must be
// named); console otherwise.
BackendKind ChooseBackend();

// The application object of the chosen backend. There is one per process.
std::unique_ptr<Application> CreateApplication();
std::unique_ptr<Application> CreateApplication(BackendKind kind);

// Writes the form as it is drawn now to a PNG file (documentation
// screenshots). Raises for forms that draw no pixels (console backend).
void SaveFormImage(Form& form, const std::string& pngPath);

}  // namespace rotalis::ui
