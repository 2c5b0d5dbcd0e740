// ui-screenshots OUTDIR: draws the desktop backend's progress form as the
// download shows it, and the main window the sample module package creates,
// and writes them as OUTDIR/progress-form.png and OUTDIR/main-window.png.
// Needs a display (Xvfb will do).

#include <exception>
#include <iostream>
#include <string>

#include "launcher/ModuleHost.h"
#include "platform/Paths.h"
#include "ui/Backend.h"

// The desktop's accessibility bus client keeps one buffer to the end.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: ui-screenshots OUTDIR\n";
    return 2;
  }
  using namespace rotalis;
  try {
    const std::string out = platform::WithTrailingSeparator(argv[1]);
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
    std::cout << "wrote " << out << "progress-form.png and " << out << "main-window.png\n";
    return 0;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
