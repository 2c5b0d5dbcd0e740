#include "crash/CrashHandlers.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <optional>

#include "crash/CrashReporter.h"
#include "crash/CrashWatcherArguments.h"
#include "crash/ExceptionInfo.h"
#include "platform/FatalSignal.h"
#include "platform/ProcessControl.h"
#include "platform/SystemInfo.h"

namespace rotalis::crash {
namespace {

// The one crash reporter of the process. It outlives everything else: the
// handlers may run during the destruction of statics.
struct InstalledReporter {
  explicit InstalledReporter(CrashReporterSetup from) : setup(std::move(from)) {}

  CrashReporterSetup setup;
  bool watched = false;
  std::mutex building;
  std::unique_ptr<ui::CrashUi> ui;
  std::unique_ptr<net::HttpTransport> transport;
  std::unique_ptr<CrashReporter> reporter;

  CrashReporter& Reporter() {
    std::lock_guard lock(building);
    if (!reporter) {
      ui = setup.makeUi ? setup.makeUi() : ui::CreateCrashUi(setup.backend);
      transport = net::HttpTransport::Create();
      reporter =
          std::make_unique<CrashReporter>(setup.settings, setup.application, *ui, *transport);
    }
    return *reporter;
  }
};

InstalledReporter* installed = nullptr;

CrashEvent EventFor(const std::exception_ptr& error, const std::string& origin, bool canContinue) {
  const ExceptionInfo info = DescribeException(error);
  CrashEvent event;
  event.errorClass = info.className;
  event.classChain = info.classChain;
  event.message = info.message;
  event.origin = origin;
  event.processId = platform::CurrentProcessId();
  event.threadId = platform::CurrentThreadId();
  event.stack = platform::ThrowStackOf(error);
  if (event.stack.empty()) event.stack = platform::CaptureStack();
  event.canContinue = canContinue;
  return event;
}

void CarryOut(CrashOutcome outcome) {
  const ApplicationInfo& application = installed->setup.application;
  switch (outcome) {
    case CrashOutcome::Continue:
      return;
    case CrashOutcome::Restart:
      try {
        platform::StartDetachedProcess(application.executablePath, application.commandLine,
                                       application.environment);
      } catch (const std::exception&) {
        // Nothing is left to tell the user with; the process closes as asked.
      }
      platform::EndProcessNow(0);
    case CrashOutcome::Close:
      platform::EndProcessNow(1);
  }
}

void CopyText(char* target, std::size_t size, const std::string& text) {
  const std::size_t length = std::min(size - 1, text.size());
  std::memcpy(target, text.data(), length);
  target[length] = '\0';
}

[[noreturn]] void OnTerminate() {
  const std::exception_ptr error = std::current_exception();
  if (installed == nullptr) std::abort();
  if (!installed->watched) {
    try {
      CarryOut(installed->Reporter().Handle(
          EventFor(error, "thread ended by an error (terminate)", false)));
    } catch (...) {
    }
    platform::EndProcessNow(1);
  }
  // Another thread may hold the user interface; the watcher shows the
  // dialog from its own process while this one waits.
  const CrashEvent event = EventFor(error, "", false);
  platform::FatalErrorRecord record;
  record.pid = event.processId;
  record.threadId = event.threadId;
  record.frameCount =
      static_cast<std::uint32_t>(std::min(event.stack.size(), platform::kMaxStackFrames));
  std::copy_n(event.stack.begin(), record.frameCount, record.frames);
  CopyText(record.errorClass, sizeof record.errorClass,
           error ? event.errorClass : std::string("std::terminate without an exception"));
  CopyText(record.message, sizeof record.message, event.message);
  platform::HandOverFatalError(record);
}

}  // namespace

std::string InstallCrashReporter(CrashReporterSetup setup) {
  if (installed != nullptr || !setup.settings.Enabled) return {};
  auto* reporter = new InstalledReporter(std::move(setup));
  installed = reporter;
  std::set_terminate(&OnTerminate);
  if (reporter->setup.watcherPath.empty()) return {};
  try {
    platform::InstallFatalSignalWatcher(
        reporter->setup.watcherPath,
        WatcherArguments(reporter->setup.watcherPath, reporter->setup.application,
                         reporter->setup.settings.HttpServer, reporter->setup.backend));
    reporter->watched = true;
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

void ReportFatalException(std::exception_ptr error) {
  if (installed == nullptr) std::rethrow_exception(error);
  try {
    CarryOut(installed->Reporter().Handle(EventFor(error, "program body", false)));
  } catch (...) {
  }
  platform::EndProcessNow(1);
}

void ReportEventException(std::exception_ptr error) {
  if (installed == nullptr) std::rethrow_exception(error);
  CarryOut(
      installed->Reporter().Handle(EventFor(error, "event handler of the message loop", true)));
}

}  // namespace rotalis::crash
