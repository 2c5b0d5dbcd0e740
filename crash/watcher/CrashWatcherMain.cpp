// rotalis-crash-watcher: started by the program at its start, it waits for the
// program to crash. Then it builds the report from the stopped process, saves
// and submits it, shows the dialog, and lets the process end (or restarts the
// program). It ends with the program when the program ends without crashing.

#include <cstdio>
#include <exception>
#include <memory>

#include "crash/CrashReporter.h"
#include "crash/CrashWatcherArguments.h"
#include "platform/ChildProcess.h"
#include "platform/FatalSignal.h"
#include "platform/ProcessControl.h"

using namespace rotalis;

namespace {

crash::CrashEvent EventOf(const platform::FatalErrorRecord& record) {
  crash::CrashEvent event;
  if (record.signal != 0) {
    event.errorClass = platform::SignalName(record.signal);
    char address[32];
    std::snprintf(address, sizeof address, "0x%llx",
                  static_cast<unsigned long long>(record.faultAddress));
    event.message =
        platform::SignalDescription(record.signal, record.code) + " at address " + address;
    event.origin = "fatal signal";
    event.firstFrameExact = true;
  } else {
    event.errorClass = record.errorClass;
    event.message = record.message;
    event.origin = "thread ended by an error (terminate)";
  }
  event.classChain = {event.errorClass};
  event.processId = record.pid;
  event.threadId = record.threadId;
  event.stack.assign(record.frames, record.frames + record.frameCount);
  event.canContinue = false;
  return event;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const crash::WatcherOptions options =
        crash::ParseWatcherArguments(std::vector<std::string>(argv, argv + argc));
    const auto record = platform::WaitForFatalError();
    if (!record) return 0;
    crash::ApplicationInfo application =
        crash::ApplicationInfo::ForExecutable(options.executablePath);
    application.folder = options.folder;
    application.commandLine = platform::CurrentCommandLine(record->pid);
    // The watcher was started with the program's environment as it began.
    application.environment = platform::CurrentEnvironment();
    crash::TCrashSettings settings;
    settings.HttpServer = options.trackerUrl;
    const std::unique_ptr<ui::CrashUi> ui = ui::CreateCrashUi(options.backend);
    const std::unique_ptr<net::HttpTransport> transport = net::HttpTransport::Create();
    crash::CrashReporter reporter(settings, application, *ui, *transport);
    const crash::CrashOutcome outcome = reporter.Handle(EventOf(*record));
    if (outcome == crash::CrashOutcome::Restart && !application.commandLine.empty()) {
      platform::StartDetachedProcess(application.executablePath, application.commandLine,
                                     application.environment);
    }
    platform::ReleaseCrashedProcess();
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "rotalis-crash-watcher: %s\n", e.what());
    platform::ReleaseCrashedProcess();
    return 1;
  }
}
