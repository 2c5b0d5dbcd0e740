// crash-child SCENARIO: a small program with the crash reporter installed the
// way the launcher installs it, which then fails in the way SCENARIO names.
// The tests run it as a child process and look at what it left behind.
//
// Environment: ROTALIS_CRASH_FOLDER (the application folder: the report file
// goes there), ROTALIS_CRASH_TRACKER (the tracker's base URL),
// ROTALIS_CRASH_UI ("recording": RecordingCrashUi answering with
// ROTALIS_CRASH_CHOICES; otherwise the console one), ROTALIS_CRASH_WATCHER
// (the watcher program; without it fatal errors are reported in-process).

#include <fstream>
#include <iostream>
#include <string>
#include <thread>

#include "crash/CrashHandlers.h"
#include "platform/Environment.h"
#include "platform/Exception.h"
#include "rotalis/EDBEditError.h"
#include "tests/crash/RecordingCrashUi.h"
#include "ui/console/ConsoleApplication.h"

using namespace rotalis;

namespace {

std::string Setting(const char* name) { return platform::GetEnvironment(name).value_or(""); }

[[gnu::noinline]] void ConnectToDatabase(const std::string& reason) {
  throw Exception("Falhou na conexao com o banco por: " + reason);
}

[[gnu::noinline]] void FailInEventHandler() { throw Exception("Data ISO inválida"); }

[[gnu::noinline]] void RefuseEditedValue() {
  throw EDBEditError("'31/02/2024' is not a valid date");
}

// The sanitizers would stop the write themselves; the point is the signal.
__attribute__((noinline, no_sanitize("address", "undefined"))) void WriteThroughNull(
    volatile int* target) {
  *target = 42;
}

[[gnu::noinline]] void FailInWorkerThread() { throw Exception("JSON inválido"); }

void Install() {
  crash::CrashReporterSetup setup;
  setup.settings = crash::TCrashSettings::ForDeployment(
      Deployment{"", "", "", "", Setting("ROTALIS_CRASH_TRACKER")});
  setup.application = crash::ApplicationInfo::Current();
  setup.application.folder = Setting("ROTALIS_CRASH_FOLDER");
  setup.backend = ui::BackendKind::Console;
  setup.watcherPath = Setting("ROTALIS_CRASH_WATCHER");
  if (Setting("ROTALIS_CRASH_UI") == "recording") {
    const std::string choices = Setting("ROTALIS_CRASH_CHOICES");
    setup.makeUi = [choices] { return std::make_unique<test::RecordingCrashUi>(choices); };
  }
  crash::InstallCrashReporter(std::move(setup));
}

// Runs the tasks as event handlers of a real message loop whose exception
// hook is the crash reporter, as the program body sets it up.
void RunInMessageLoop(int times, void (*task)()) {
  ui::console::ConsoleApplication application;
  application.SetEventExceptionHandler(&crash::ReportEventException);
  for (int i = 0; i < times; ++i) application.Post(task);
  application.ProcessMessages();
  std::cout << "message loop went on" << std::endl;
}

// Each start leaves a line with the probe variable as it found it; the first
// start changes the variable, then fails, so that a restart shows which
// environment it got.
bool FirstStartOfRestartScenario() {
  const std::string log = Setting("ROTALIS_CRASH_FOLDER") + "starts.txt";
  std::ofstream(log, std::ios::app) << "start " << Setting("ROTALIS_CRASH_PROBE") << std::endl;
  std::ifstream lines(log);
  int starts = 0;
  for (std::string line; std::getline(lines, line);) ++starts;
  if (starts > 1) return false;
  platform::SetEnvironment("ROTALIS_CRASH_PROBE", "changed by the first start");
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string scenario = argc > 1 ? argv[1] : "";
  Install();
  try {
    if (scenario == "start-up") {
      ConnectToDatabase("Access denied for user 'erp'@'localhost'");
    } else if (scenario == "restart") {
      if (FirstStartOfRestartScenario()) ConnectToDatabase("restart me");
    } else if (scenario == "event-twice") {
      RunInMessageLoop(2, &FailInEventHandler);
    } else if (scenario == "edit-error") {
      RunInMessageLoop(1, &RefuseEditedValue);
    } else if (scenario == "segfault") {
      WriteThroughNull(nullptr);
    } else if (scenario == "thread") {
      std::thread worker(&FailInWorkerThread);
      worker.join();
    } else {
      std::cerr << "unknown scenario " << scenario << '\n';
      return 2;
    }
  } catch (...) {
    crash::ReportFatalException(std::current_exception());
  }
  return 0;
}
