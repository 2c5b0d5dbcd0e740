#include "platform/FatalSignal.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "platform/Exception.h"

namespace rotalis::platform {

// Windows reports faults as structured exceptions, not signals, and has no
// watcher process to hand them to yet. Until it does, the caller goes on
// without one: C++ errors are still reported from inside the process.
void InstallFatalSignalWatcher(const std::string& helperPath,
                               const std::vector<std::string>& arguments) {
  throw Exception(
      "Watching for fatal errors (access violations and the like) is not available on "
      "Windows yet; " +
      helperPath + " was not started");
}

void HandOverFatalError(const FatalErrorRecord& record) {
  std::fflush(nullptr);
  std::abort();
}

std::string SignalName(int signal) {
  switch (signal) {
    case SIGSEGV:
      return "SIGSEGV";
    case SIGFPE:
      return "SIGFPE";
    case SIGILL:
      return "SIGILL";
    case SIGABRT:
      return "SIGABRT";
    default:
      return "signal " + std::to_string(signal);
  }
}

// The C runtime raises these itself, with no code that says more.
std::string SignalDescription(int signal, int code) {
  switch (signal) {
    case SIGSEGV:
      return "Invalid memory access";
    case SIGFPE:
      return "Floating-point exception";
    case SIGILL:
      return "Illegal instruction";
    case SIGABRT:
      return "Aborted";
    default:
      return "signal " + std::to_string(signal);
  }
}

std::optional<FatalErrorRecord> WaitForFatalError() { return std::nullopt; }

void ReleaseCrashedProcess() {}

}  // namespace rotalis::platform
