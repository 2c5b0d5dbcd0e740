// The launcher's program body.

#include <exception>

#include "config/Installation.h"
#include "crash/CrashHandlers.h"
#include "launcher/StartUp.h"
#include "platform/FileVersionStamp.h"
#include "platform/Terminal.h"
#include "ui/Backend.h"

ROTALIS_STAMP_FILE_VERSION(ROTALIS_VERSION_MAJOR, ROTALIS_VERSION_MINOR, ROTALIS_VERSION_RELEASE,
                           ROTALIS_VERSION_BUILD);

// The leak report is switched on before this runs (LeakReport.cpp).
int main() {
  using namespace rotalis;
  const ui::BackendKind backend = ui::ChooseBackend();
  // A windowed program started from a console window shows its console
  // backend's text there. With windows it stays clear of that console: a
  // program attached to it keeps it open, and dies when it is closed.
  if (backend == ui::BackendKind::Console) platform::AttachParentConsole();
  try {
    // The crash reporter comes first: from here on, every error that nothing
    // handles ends in it, whether it leaves this body, an event handler of
    // the message loop or a thread, and so does a fault (a fatal signal, a
    // structured exception on Windows).
    crash::CrashReporterSetup setup;
    setup.settings = crash::TCrashSettings::ForDeployment(Deployment::Compiled());
    setup.application = crash::ApplicationInfo::Current();
    setup.backend = backend;
    setup.watcherPath = setup.application.folder + crash::kCrashWatcherName;
    // Without its watcher (not installed beside the program) the reporter
    // still takes every exception; only faults go unreported.
    crash::InstallCrashReporter(std::move(setup));

    const Installation here = Installation::Current();
    const auto app = ui::CreateApplication(backend);
    app->SetEventExceptionHandler(&crash::ReportEventException);
    return RunLauncher(*app, here);
  } catch (...) {
    crash::ReportFatalException(std::current_exception());
  }
}
