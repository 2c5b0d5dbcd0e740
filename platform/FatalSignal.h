#pragma once
// Fatal signals (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT). Nothing that could
// block or allocate may run while one is being handled, so the handler only
// records the signal and the raw stack and hands them to a watcher: a helper
// program started beforehand, which inspects the stopped process, builds the
// report and talks to the user. The crashed process then ends by its signal.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/StackTrace.h"

namespace rotalis::platform {

// What the watcher learns of a crash. `signal` is 0 for a C++ exception that
// ended the process (std::terminate); its class and message are then filled.
struct FatalErrorRecord {
  int signal = 0;
  int code = 0;  // si_code
  std::uintptr_t faultAddress = 0;
  int pid = 0;
  long threadId = 0;
  std::uint32_t frameCount = 0;
  std::uintptr_t frames[kMaxStackFrames] =
      {};  // for a signal, frames[0] is the interrupted instruction
  char errorClass[256] = {};
  char message[4096] = {};
};

// The watcher sees its channel to the watched process on this descriptor.
inline constexpr int kWatcherChannelFd = 3;

// Starts the watcher `helperPath` with `arguments` (program name first) and
// this process's environment, and installs the handlers. Raises
// rotalis::Exception when the watcher cannot be started. Call once, early.
void InstallFatalSignalWatcher(const std::string& helperPath,
                               const std::vector<std::string>& arguments);

// For std::terminate: hands an error that ends the process to the watcher,
// waits until the watcher is done, then aborts (without reporting the abort).
// Without a watcher it aborts at once.
[[noreturn]] void HandOverFatalError(const FatalErrorRecord& record);

// "SIGSEGV" for SIGSEGV, "signal 77" for unknown numbers.
std::string SignalName(int signal);
// The system's description of the signal and its code ("address not mapped to object").
std::string SignalDescription(int signal, int code);

// Watcher side: waits for the watched process to crash. Nothing when it ended
// without crashing (the channel closed).
std::optional<FatalErrorRecord> WaitForFatalError();
// Watcher side: lets the crashed process end.
void ReleaseCrashedProcess();

}  // namespace rotalis::platform
