#include "platform/ChildProcess.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

extern char** environ;

namespace rotalis::platform {

namespace {

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

class SpawnFileActions {
 public:
  SpawnFileActions() { posix_spawn_file_actions_init(&actions_); }
  ~SpawnFileActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;
  void Open(int fd, const std::string& path, int flags) {
    posix_spawn_file_actions_addopen(&actions_, fd, path.c_str(), flags, 0644);
  }
  const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// Polls, so that no signal handler of the caller's is needed; a child under a
// time limit is a test's, where 10 ms more make no difference.
int WaitWithin(pid_t child, int seconds, int& status) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child) return 0;
    if (ended < 0 && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(child, SIGKILL);
      while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
      }
      return kChildTimedOut;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace

int RunChildToEnd(const ChildCommand& command) {
  SpawnFileActions actions;
  actions.Open(0, command.inputFile.empty() ? "/dev/null" : command.inputFile, O_RDONLY);
  actions.Open(1, command.outputFile, O_WRONLY | O_CREAT | O_TRUNC);
  actions.Open(2, command.errorFile, O_WRONLY | O_CREAT | O_TRUNC);
  std::vector<std::string> argumentTexts{command.program};
  argumentTexts.insert(argumentTexts.end(), command.arguments.begin(), command.arguments.end());
  std::vector<std::string> environmentTexts = command.environment;
  auto argv = PointersTo(argumentTexts);
  auto envp = PointersTo(environmentTexts);
  pid_t child = 0;
  const int error = posix_spawn(&child, command.program.c_str(), actions.Get(), nullptr,
                                argv.data(), envp.data());
  if (error != 0)
    throw Exception("Cannot start " + command.program + ": " + SystemErrorMessage(error));
  int status = 0;
  if (command.timeLimitSeconds > 0) {
    const int waited = WaitWithin(child, command.timeLimitSeconds, status);
    if (waited < 0) throw Exception("Cannot wait for " + command.program);
    if (waited == kChildTimedOut) return kChildTimedOut;
  } else {
    while (waitpid(child, &status, 0) < 0)
      if (errno != EINTR) throw Exception("Cannot wait for " + command.program);
  }
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return WEXITSTATUS(status);
}

std::vector<std::string> CurrentEnvironment() {
  std::vector<std::string> entries;
  for (char** entry = environ; *entry != nullptr; ++entry) entries.emplace_back(*entry);
  return entries;
}

void MakeExecutable(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) throw Exception("Cannot read the mode of " + path);
  const mode_t readers = info.st_mode & (S_IRUSR | S_IRGRP | S_IROTH);
  if (chmod(path.c_str(), info.st_mode | (readers >> 2)) != 0)
    throw Exception("Cannot make " + path + " executable: " + SystemErrorMessage(errno));
}

}  // namespace rotalis::platform
