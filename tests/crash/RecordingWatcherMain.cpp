// crash-test-watcher: the crash watcher (crash/CrashWatcher.h) with the
// recording crash user interface when ROTALIS_CRASH_UI is "recording",
// answering with ROTALIS_CRASH_CHOICES, and the one its command line names
// otherwise: for the tests that choose in the dialog of a fault. It inherits
// these settings with the watched program's environment.

#include <memory>

#include "crash/CrashWatcher.h"
#include "platform/Environment.h"
#include "platform/ProcessControl.h"
#include "tests/crash/RecordingCrashUi.h"

int main() {
  using namespace rotalis;
  return crash::RunCrashWatcher(
      platform::CurrentCommandLine(), [](ui::BackendKind backend) -> std::unique_ptr<ui::CrashUi> {
        if (platform::GetEnvironment("ROTALIS_CRASH_UI").value_or("") != "recording")
          return ui::CreateCrashUi(backend);
        return std::make_unique<test::RecordingCrashUi>(
            platform::GetEnvironment("ROTALIS_CRASH_CHOICES").value_or(""));
      });
}
