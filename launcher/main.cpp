// The launcher's program body.

#include <exception>
#include <iostream>

#include "config/Installation.h"
#include "launcher/StartUp.h"
#include "platform/FileVersionStamp.h"
#include "ui/Backend.h"

ROTALIS_STAMP_FILE_VERSION(25, 28, 501, 14);

// The leak report is switched on before this runs (LeakReport.cpp).
int main() {
  try {
    const rotalis::Installation here = rotalis::Installation::Current();
    const auto app = rotalis::ui::CreateApplication();
    return rotalis::RunLauncher(*app, here);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
