#include "platform/Process.h"

#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

extern char** environ;

namespace rotalis::platform {
namespace {

std::vector<std::string> SplitAtBlanks(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text) {
    if (c == ' ') {
      if (!word.empty()) words.push_back(std::move(word));
      word.clear();
    } else {
      word += c;
    }
  }
  if (!word.empty()) words.push_back(std::move(word));
  return words;
}

// A descriptor that polls readable when the process ends, so that a wait
// returns as soon as it does instead of at the end of its slice. Older
// kernels lack it; the wait then sleeps through the slice.
int OpenPidFd(pid_t pid) {
#ifdef SYS_pidfd_open
  const long fd = syscall(SYS_pidfd_open, pid, 0);
  return fd < 0 ? -1 : static_cast<int>(fd);
#else
  return -1;
#endif
}

}  // namespace

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)),
      pidFd_(std::exchange(other.pidFd_, -1)),
      exitCode_(other.exitCode_) {}

ChildProcess::~ChildProcess() {
  if (pidFd_ >= 0) close(pidFd_);
}

bool ChildProcess::WaitFor(int milliseconds) {
  if (pid_ < 0) return true;
  const auto reap = [this]() {
    int status = 0;
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (!(done < 0 && errno == ECHILD)) {
      return false;  // still running, or an interrupted wait
    }
    pid_ = -1;
    return true;
  };
  if (reap()) return true;
  if (pidFd_ >= 0) {
    pollfd watch{pidFd_, POLLIN, 0};
    poll(&watch, 1, milliseconds);
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
  return reap();
}

ChildProcess StartProcess(const std::string& path, const std::string& arguments,
                          ZoneCheck /*zoneCheck: no such check here*/) {
  std::vector<std::string> words = SplitAtBlanks(arguments);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(path.c_str()));
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  pid_t pid = -1;
  // posix_spawn reports a failed exec (missing file, no execute permission, not
  // a program) through its result, so the caller gets the reason.
  const int error = posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv.data(), environ);
  if (error != 0) throw Exception(SystemErrorMessage(error));
  return ChildProcess(pid, OpenPidFd(pid));
}

}  // namespace rotalis::platform
