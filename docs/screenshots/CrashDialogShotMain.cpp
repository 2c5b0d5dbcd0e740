// crash-dialog-shot OUTDIR: draws the desktop crash dialog as an error in an
// event handler opens it (crash-dialog.png) and as a fatal signal opens it,
// where the application cannot continue (crash-dialog-cannot-continue.png).
// Needs a display (Xvfb will do).

#include <iostream>
#include <string>

#include "crash/CrashReporter.h"
#include "ui/qt/QtCrashUi.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: crash-dialog-shot OUTDIR\n";
    return 2;
  }
  using namespace rotalis;
  const crash::TCrashSettings settings;
  const std::string folder = std::string(argv[1]) + "/";
  for (const bool canContinue : {true, false}) {
    const ui::CrashDialogSpec spec = crash::CrashDialogSpecFor(
        settings, "rotalis", "rotalis::Exception: JSON inválido", canContinue);
    const std::string path =
        folder + (canContinue ? "crash-dialog.png" : "crash-dialog-cannot-continue.png");
    if (!ui::qt::SaveCrashDialogImage(spec, path)) {
      std::cerr << "cannot draw the crash dialog\n";
      return 1;
    }
    std::cout << "wrote " << path << '\n';
  }
  return 0;
}
