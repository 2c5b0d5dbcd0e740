// ui-screenshots OUTDIR: draws the desktop backend's progress form as the
// download shows it, the main window the sample module package creates and
// the crash dialog as an error in an event handler opens it, and writes them
// as OUTDIR/progress-form.png, OUTDIR/main-window.png and
// OUTDIR/crash-dialog.png (in the Windows build each name begins with
// "windows-"). Needs a display (Xvfb will do; Wine with Xvfb for Windows).

#include <exception>
#include <iostream>
#include <string>

#include "crash/CrashReporter.h"
#include "launcher/ModuleHost.h"
#include "platform/Paths.h"
#include "ui/Backend.h"
#include "ui/CrashUi.h"

// The desktop's accessibility bus client keeps one buffer to the end.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

#ifndef ROTALIS_SCREENSHOT_PREFIX
#define ROTALIS_SCREENSHOT_PREFIX ""
#endif

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: ui-screenshots OUTDIR\n";
    return 2;
  }
  using namespace rotalis;
  try {
    const std::string out = platform::WithTrailingSeparator(argv[1]) + ROTALIS_SCREENSHOT_PREFIX;
    const auto app = ui::CreateApplication(ui::BackendKind::Desktop);

    // Two of three installers done, the third one under way.
    auto& progress = app->CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 3});
    progress.Show();
    progress.SetPosition(2);
    progress.SetTransferProgress(1536 * 1024, 4096 * 1024);
    app->ProcessMessages();
    ui::SaveFormImage(progress, out + "progress-form.png");
    progress.Close();
    app->ReleaseComponent(progress);

    LoadModulePackage(*app, ROTALIS_SAMPLE_PACKAGE_FOLDER);
    auto* mainForm = dynamic_cast<ui::Form*>(app->FindComponent(kMainFormName));
    if (mainForm == nullptr) throw std::runtime_error("the sample package made no main form");
    mainForm->Show();
    app->ProcessMessages();
    ui::SaveFormImage(*mainForm, out + "main-window.png");

    const ui::CrashDialogSpec crashDialog = crash::CrashDialogSpecFor(
        crash::TCrashSettings{}, "rotalis", "rotalis::Exception: JSON inv\xC3\xA1lido", true);
    if (!ui::SaveCrashDialogImage(crashDialog, out + "crash-dialog.png"))
      throw std::runtime_error("cannot draw the crash dialog");
    std::cout << "wrote " << out << "progress-form.png, " << out << "main-window.png and " << out
              << "crash-dialog.png\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
