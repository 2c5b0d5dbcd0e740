#include "platform/FatalSignal.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

extern char** environ;

namespace rotalis::platform {
namespace {

constexpr int kFatalSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

// The watcher sees its channel to the watched process on this descriptor.
constexpr int kWatcherChannelFd = 3;

// Set once before the handlers are installed, only read by them.
int watcherChannel = -1;
std::atomic<bool> crashing{false};
alignas(16) char alternateStack[64 * 1024];

std::uintptr_t InterruptedPc(void* context) {
  const auto* uc = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__)
  return static_cast<std::uintptr_t>(uc->uc_mcontext.gregs[REG_RIP]);
#elif defined(__i386__)
  return static_cast<std::uintptr_t>(uc->uc_mcontext.gregs[REG_EIP]);
#elif defined(__aarch64__)
  return static_cast<std::uintptr_t>(uc->uc_mcontext.pc);
#else
  (void)uc;
  return 0;
#endif
}

bool SendAll(int fd, const void* data, std::size_t size) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t sent = send(fd, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveAll(int fd, void* data, std::size_t size) {
  char* bytes = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t got = recv(fd, bytes, size, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

// Only async-signal-safe calls from here on.
void SendToWatcherAndWait(const FatalErrorRecord& record) {
  if (watcherChannel >= 0 && SendAll(watcherChannel, &record, sizeof record)) {
    // The watcher answers when it is done with this process (or dies).
    char done = 0;
    ReceiveAll(watcherChannel, &done, 1);
  }
}

void WaitForOtherCrashIfAny() {
  if (crashing.exchange(true)) {
    // Another thread is already being reported; the process ends with it.
    for (;;) pause();
  }
}

void OnFatalSignal(int signal, siginfo_t* info, void* context) {
  WaitForOtherCrashIfAny();
  FatalErrorRecord record;
  record.fault = static_cast<std::uint32_t>(signal);
  record.detail = info != nullptr ? info->si_code : 0;
  record.faultAddress = info != nullptr ? reinterpret_cast<std::uintptr_t>(info->si_addr) : 0;
  // A signal that kill() or the like sent carries the sender, not an address:
  // si_addr then overlays the sender's process id.
  if (info != nullptr && info->si_code <= 0) {
    record.senderPid = static_cast<int>(info->si_pid);
    record.faultAddress = 0;
  }
  record.pid = static_cast<int>(getpid());
  record.threadId = static_cast<long>(syscall(SYS_gettid));
  record.frameCount = static_cast<std::uint32_t>(
      CaptureStackInSignalHandler(InterruptedPc(context), record.frames, kMaxStackFrames));
  SendToWatcherAndWait(record);
  struct sigaction fallback {};
  fallback.sa_handler = SIG_DFL;
  sigemptyset(&fallback.sa_mask);
  sigaction(signal, &fallback, nullptr);
  // Delivered when the handler returns (the signal is blocked until then); a
  // fault re-executes its instruction and ends the process the same way.
  raise(signal);
}

}  // namespace

void InstallFatalSignalWatcher(const std::string& helperPath,
                               const std::vector<std::string>& given) {
  std::vector<std::string> arguments = given;
  arguments.push_back(kWatcherChannelOption);
  arguments.push_back(std::to_string(kWatcherChannelFd));
  int channel[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channel) != 0) {
    throw Exception("Cannot create the crash watcher's channel: " + SystemErrorMessage(errno));
  }
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  // dup2 clears close-on-exec on the copy the watcher keeps.
  posix_spawn_file_actions_adddup2(&actions, channel[1], kWatcherChannelFd);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, helperPath.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(channel[1]);
  if (error != 0) {
    close(channel[0]);
    throw Exception("Cannot start the crash watcher " + helperPath + ": " +
                    SystemErrorMessage(error));
  }
  watcherChannel = channel[0];

  PrepareStackCapture();
  // A stack overflow leaves no stack to handle it on.
  stack_t alternate{};
  alternate.ss_sp = alternateStack;
  alternate.ss_size = sizeof alternateStack;
  sigaltstack(&alternate, nullptr);

  struct sigaction action {};
  action.sa_sigaction = &OnFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigfillset(&action.sa_mask);
  for (int signal : kFatalSignals) sigaction(signal, &action, nullptr);
}

void HandOverFatalError(const FatalErrorRecord& record) {
  WaitForOtherCrashIfAny();
  SendToWatcherAndWait(record);
  signal(SIGABRT, SIG_DFL);
  abort();
}

namespace {

std::string SignalName(int signal) {
  switch (signal) {
    case SIGSEGV:
      return "SIGSEGV";
    case SIGBUS:
      return "SIGBUS";
    case SIGFPE:
      return "SIGFPE";
    case SIGILL:
      return "SIGILL";
    case SIGABRT:
      return "SIGABRT";
    default: {
      const char* abbreviation = sigabbrev_np(signal);
      return abbreviation != nullptr ? std::string("SIG") + abbreviation
                                     : "signal " + std::to_string(signal);
    }
  }
}

std::string SignalDescription(int signal, int code) {
  std::string text = strsignal(signal);
  const char* detail = nullptr;
  if (signal == SIGSEGV) {
    if (code == SEGV_MAPERR) detail = "address not mapped to object";
    if (code == SEGV_ACCERR) detail = "invalid permissions for mapped object";
  } else if (signal == SIGBUS) {
    if (code == BUS_ADRALN) detail = "invalid address alignment";
    if (code == BUS_ADRERR) detail = "nonexistent physical address";
  } else if (signal == SIGFPE) {
    if (code == FPE_INTDIV) detail = "integer divide by zero";
    if (code == FPE_INTOVF) detail = "integer overflow";
    if (code == FPE_FLTDIV) detail = "floating-point divide by zero";
  } else if (signal == SIGILL) {
    if (code == ILL_ILLOPC) detail = "illegal opcode";
    if (code == ILL_PRVOPC) detail = "privileged opcode";
  }
  if (detail != nullptr) text += std::string(" (") + detail + ")";
  return text;
}

}  // namespace

std::string FaultName(const FatalErrorRecord& record) {
  return SignalName(static_cast<int>(record.fault));
}

std::string FaultDescription(const FatalErrorRecord& record) {
  if (record.detail <= 0) {
    return std::string(strsignal(static_cast<int>(record.fault))) + " (sent by process " +
           std::to_string(record.senderPid) + ")";
  }
  char address[32];
  std::snprintf(address, sizeof address, "0x%llx",
                static_cast<unsigned long long>(record.faultAddress));
  return SignalDescription(static_cast<int>(record.fault), static_cast<int>(record.detail)) +
         " at address " + address;
}

std::string FaultOrigin() { return "fatal signal"; }

namespace {

int ChannelFd(const std::string& channel) {
  int fd = -1;
  const auto parsed = std::from_chars(channel.data(), channel.data() + channel.size(), fd);
  if (parsed.ec != std::errc() || parsed.ptr != channel.data() + channel.size() || fd < 0)
    throw Exception("Not a crash watcher channel: '" + channel + "'");
  return fd;
}

}  // namespace

std::optional<FatalErrorRecord> WaitForFatalError(const std::string& channel) {
  FatalErrorRecord record;
  if (!ReceiveAll(ChannelFd(channel), &record, sizeof record)) return std::nullopt;
  if (record.frameCount > kMaxStackFrames) record.frameCount = kMaxStackFrames;
  return record;
}

void ReleaseCrashedProcess(const std::string& channel) {
  const char done = 1;
  SendAll(ChannelFd(channel), &done, 1);
}

}  // namespace rotalis::platform
