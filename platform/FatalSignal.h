#pragma once
// Faults that end the process: fatal signals (SIGSEGV, SIGBUS, SIGFPE, SIGILL,
// SIGABRT) on POSIX, structured exceptions (access violation, stack
// overflow, illegal instruction, division by zero...) on Windows. Nothing
// that could block or allocate may run while one is being handled, so the
// handler only records the fault and the raw stack and hands them to a
// watcher: a helper program started beforehand, which inspects the stopped
// process, builds the report and talks to the user. The crashed process then
// ends by its fault.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/StackTrace.h"

namespace rotalis::platform {

// What the watcher learns of a crash. `fault` is 0 for a C++ exception that
// ended the process (std::terminate); its class and message are then filled.
struct FatalErrorRecord {
  std::uint32_t fault = 0;  // the signal number; on Windows the exception code
  // si_code; on Windows, for an access violation, how the address was used
  // (0 read, 1 write, 8 execute)
  std::int64_t detail = 0;
  std::uintptr_t faultAddress = 0;  // the address accessed, else the faulting instruction
  int senderPid = 0;  // POSIX: the process that sent the signal, 0 when the fault was this one's
  int pid = 0;
  long threadId = 0;
  std::uint32_t frameCount = 0;
  std::uintptr_t frames[kMaxStackFrames] =
      {};  // for a fault, frames[0] is the faulting instruction
  char errorClass[256] = {};
  char message[4096] = {};
};

// The watcher's own argument that names its channel to the watched process;
// InstallFatalSignalWatcher appends it with the channel's text.
inline constexpr const char* kWatcherChannelOption = "--channel";

// Starts the watcher `helperPath` with `arguments` (program name first, then
// kWatcherChannelOption and the channel) and this process's environment, and
// installs the handlers. Raises rotalis::Exception when the watcher cannot be
// started. Call once, early, on the main thread.
void InstallFatalSignalWatcher(const std::string& helperPath,
                               const std::vector<std::string>& arguments);

// For std::terminate: hands an error that ends the process to the watcher,
// waits until the watcher is done, then aborts (without reporting the abort).
// Without a watcher it aborts at once.
[[noreturn]] void HandOverFatalError(const FatalErrorRecord& record);

// "SIGSEGV", "EXCEPTION_ACCESS_VIOLATION"; "signal 77" or "exception
// 0xE0434352" for numbers the system does not name.
std::string FaultName(const FatalErrorRecord& record);
// What happened, with the address ("Segmentation fault (address not mapped to
// object) at address 0x0", "Access violation writing address 0x0").
std::string FaultDescription(const FatalErrorRecord& record);
// How such a fault reaches the program ("fatal signal", "structured exception").
std::string FaultOrigin();

// Watcher side, `channel` being the text after kWatcherChannelOption: waits
// for the watched process to crash. Nothing when it ended without crashing.
std::optional<FatalErrorRecord> WaitForFatalError(const std::string& channel);
// Watcher side: lets the crashed process end.
void ReleaseCrashedProcess(const std::string& channel);

}  // namespace rotalis::platform
