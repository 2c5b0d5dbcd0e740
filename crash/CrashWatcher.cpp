#include "crash/CrashWatcher.h"

#include <cstdio>
#include <exception>
#include <thread>

#include "crash/CrashReporter.h"
#include "crash/CrashWatcherArguments.h"
#include "crash/ReportDelivery.h"
#include "platform/ChildProcess.h"
#include "platform/FatalSignal.h"
#include "platform/Paths.h"
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
    TCrashSettings settings;
    settings.HttpServer = options.trackerUrl;
    // What earlier crashes left in the report file goes out beside the
    // program, which does not wait for it; the watcher finishes it even when
    // the program ends first (a watcher that is stopped leaves the rest for
    // the next start).
    std::jthread pending([&settings, &options] {
      const std::unique_ptr<net::HttpTransport> transport = net::HttpTransport::Create();
      DeliverPendingReports(*transport, settings,
                            platform::JoinPath(options.folder, settings.BugRepFile));
    });
    const auto record = platform::WaitForFatalError(channel);
    if (!record) return 0;
    ApplicationInfo application = ApplicationInfo::ForExecutable(options.executablePath);
    application.folder = options.folder;
    application.commandLine = platform::CurrentCommandLine(record->pid);
    // The watcher was started with the program's environment as it began.
    application.environment = platform::CurrentEnvironment();
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
