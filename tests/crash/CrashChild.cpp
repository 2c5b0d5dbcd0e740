// crash-child SCENARIO: a small program with the crash reporter installed the
// way the launcher installs it, which then fails in the way SCENARIO names.
// The tests run it as a child process and look at what it left behind.
//
// Environment: ROTALIS_CRASH_FOLDER (the application folder: the report file
// goes there), ROTALIS_CRASH_TRACKER (the tracker's base URL),
// ROTALIS_CRASH_UI ("recording": RecordingCrashUi answering with
// ROTALIS_CRASH_CHOICES; "desktop": the same, with the desktop backend's
// please-wait box shown as well; otherwise the console one), ROTALIS_CRASH_WATCHER
// (the watcher program; without it fatal errors are reported in-process and
// faults not at all).
//
// The scenarios that restart leave a line in starts.txt of the folder at
// every start: "start <ROTALIS_CRASH_PROBE as found>|<argument>|...".

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "crash/CrashHandlers.h"
#include "launcher/ModuleHost.h"
#include "platform/Environment.h"
#include "platform/Exception.h"
#include "platform/ProcessControl.h"
#include "platform/SystemInfo.h"
#include "rotalis/EDBEditError.h"
#include "tests/crash/RecordingCrashUi.h"
#include "ui/Backend.h"
#include "ui/CrashUi.h"
#include "ui/console/ConsoleApplication.h"

// The desktop's accessibility bus client keeps one buffer to the end; it is
// the system library's leak, not the reporter's, and in a sanitizer build it
// would end a desktop crash run with the leak checker's status.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdbus-1.so\n"; }

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

// The sanitizers would stop these themselves; the point is the fault.
__attribute__((noinline, no_sanitize("address", "undefined"))) void WriteThroughNull(
    volatile int* target) {
  *target = 42;
}

__attribute__((noinline, no_sanitize("undefined"))) int DivideBy(int divisor) {
  volatile int dividend = 7;
  return dividend / divisor;
}

// Until the stack runs out; the limit only keeps the compiler from seeing an
// endless recursion (or a loop).
__attribute__((noinline, no_sanitize("address"))) int RecurseForever(int depth, int limit) {
  volatile char frame[512];
  frame[0] = static_cast<char>(depth);
  return depth < limit ? RecurseForever(depth + 1, limit) + frame[0] : 0;
}

volatile int runtimeZero = 0;
volatile int runtimeLimit = 1 << 30;

[[gnu::noinline]] void FailInWorkerThread() { throw Exception("JSON inválido"); }

void Install() {
  crash::CrashReporterSetup setup;
  setup.settings = crash::TCrashSettings::ForDeployment(
      Deployment{"", "", "", "", Setting("ROTALIS_CRASH_TRACKER")});
  setup.application = crash::ApplicationInfo::Current();
  setup.application.folder = Setting("ROTALIS_CRASH_FOLDER");
  setup.backend = ui::BackendKind::Console;
  setup.watcherPath = Setting("ROTALIS_CRASH_WATCHER");
  const std::string ui = Setting("ROTALIS_CRASH_UI");
  if (ui == "recording" || ui == "desktop") {
    const std::string choices = Setting("ROTALIS_CRASH_CHOICES");
    setup.makeUi = [choices, ui] {
      return std::make_unique<test::RecordingCrashUi>(
          choices, ui == "desktop" ? ui::CreateCrashUi(ui::BackendKind::Desktop) : nullptr);
    };
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

// Runs the application's loop until a task posted last has run, twice: the
// tasks that ran may have posted more (a package's failure is raised by a
// task of its own), and tasks that waited for the crash reporter's windows
// are posted again.
void RunUntilAllRan(ui::Application& application) {
  bool ran = true;
  for (int round = 0; round < 2 && ran; ++round) {
    ran = false;
    application.Post([&ran] { ran = true; });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!ran && std::chrono::steady_clock::now() < deadline) {
      application.ProcessMessages();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  std::cout << (ran ? "message loop went on" : "posted tasks never ran") << std::endl;
}

// The same failing handler posted twice to the desktop backend's loop.
void FailTwiceOnTheDesktop() {
  const auto application = ui::CreateApplication(ui::BackendKind::Desktop);
  application->SetEventExceptionHandler(&crash::ReportEventException);
  application->Post(&FailInEventHandler);
  application->Post(&FailInEventHandler);
  RunUntilAllRan(*application);
}

// The module package in the application folder, whose handlers fail.
void RunFailingPackage() {
  ui::console::ConsoleApplication application;
  application.SetEventExceptionHandler(&crash::ReportEventException);
  const auto bridge = LoadModulePackage(application, Setting("ROTALIS_CRASH_FOLDER"));
  RunUntilAllRan(application);
}

// Each start leaves a line with the probe variable as it found it and its
// arguments; the first start changes the variable, then fails, so that a
// restart shows which environment and command line it got.
bool FirstStartOfRestartScenario() {
  const std::string log = Setting("ROTALIS_CRASH_FOLDER") + "starts.txt";
  std::string line = "start " + Setting("ROTALIS_CRASH_PROBE");
  // As the system holds them: UTF-8 here, whatever the C runtime's code page.
  const std::vector<std::string> arguments = platform::CurrentCommandLine();
  for (std::size_t i = 1; i < arguments.size(); ++i) line += "|" + arguments[i];
  std::ofstream(log, std::ios::app) << line << std::endl;
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
    } else if (scenario == "restart-after-fault") {
      if (FirstStartOfRestartScenario()) WriteThroughNull(nullptr);
    } else if (scenario == "event-twice") {
      RunInMessageLoop(2, &FailInEventHandler);
    } else if (scenario == "quiet") {
      // A start that goes well.
    } else if (scenario == "desktop-event-twice") {
      FailTwiceOnTheDesktop();
    } else if (scenario == "package-fails") {
      RunFailingPackage();
    } else if (scenario == "edit-error") {
      RunInMessageLoop(1, &RefuseEditedValue);
    } else if (scenario == "null-write") {
      WriteThroughNull(nullptr);
    } else if (scenario == "divide-by-zero") {
      std::cout << DivideBy(runtimeZero) << std::endl;
    } else if (scenario == "stack-overflow") {
      std::cout << RecurseForever(0, runtimeLimit) << std::endl;
    } else if (scenario == "signal-from-another-process") {
      // A shell sends it, as an administrator's kill would.
      std::system(("kill -SEGV " + std::to_string(platform::CurrentProcessId())).c_str());
      std::this_thread::sleep_for(std::chrono::seconds(10));
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
