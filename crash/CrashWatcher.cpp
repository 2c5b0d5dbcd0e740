#include "crash/CrashWatcher.h"

#include <cstdio>
#include <exception>

#include "crash/CrashReporter.h"
#include "crash/CrashWatcherArguments.h"
#include "platform/ChildProcess.h"
#include "platform/FatalSignal.h"
#include "platform/ProcessControl.h"

namespace rotalis::crash {
namespace {

CrashEvent EventOf(const platform::FatalErrorRecord& record) {
  CrashEvent event;
  if (record.fault != 0) {
    event.errorClass = platform::FaultName(record);
    event.message = platform::FaultDescription(record);
    event.origin = platform::FaultOrigin();
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

int RunCrashWatcher(const std::vector<std::string>& arguments, const CrashUiMaker& makeUi) {
  std::string channel;
  try {
    const WatcherOptions options = ParseWatcherArguments(arguments);
    channel = options.channel;
    const auto record = platform::WaitForFatalError(channel);
    if (!record) return 0;
    ApplicationInfo application = ApplicationInfo::ForExecutable(options.executablePath);
    application.folder = options.folder;
    application.commandLine = platform::CurrentCommandLine(record->pid);
    // The watcher was started with the program's environment as it began.
    application.environment = platform::CurrentEnvironment();
    TCrashSettings settings;
    settings.HttpServer = options.trackerUrl;
    const std::unique_ptr<ui::CrashUi> ui = makeUi(options.backend);
    const std::unique_ptr<net::HttpTransport> transport = net::HttpTransport::Create();
    CrashReporter reporter(settings, application, *ui, *transport);
    const CrashOutcome outcome = reporter.Handle(EventOf(*record));
    if (outcome == CrashOutcome::Restart && !application.commandLine.empty()) {
      platform::StartDetachedProcess(application.executablePath, application.commandLine,
                                     application.environment);
    }
    platform::ReleaseCrashedProcess(channel);
    return 0;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "rotalis-crash-watcher: %s\n", e.what());
    // The program waits for this answer; without a channel it never got one.
    try {
      if (!channel.empty()) platform::ReleaseCrashedProcess(channel);
    } catch (const std::exception&) {
    }
    return 1;
  }
}

}  // namespace rotalis::crash
