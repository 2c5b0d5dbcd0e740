#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "tests/support/HostShell.h"

namespace rotalis::test {
namespace {

int ExitStatus(int waitStatus) {
  if (waitStatus == -1) return -1;
  if (WIFEXITED(waitStatus)) return WEXITSTATUS(waitStatus);
  if (WIFSIGNALED(waitStatus)) return 128 + WTERMSIG(waitStatus);
  return -1;
}

// bash whatever /bin/sh is, as through the agent.
std::string BashCommand(const std::string& command) {
  return "exec bash -c " + ShellQuoted(command);
}

}  // namespace

struct HostProcess::State {
  std::FILE* pipe = nullptr;
};

int RunHostCommand(const std::string& command, std::string* output) {
  if (output == nullptr) return ExitStatus(std::system(BashCommand(command).c_str()));
  std::FILE* pipe = popen(BashCommand(command).c_str(), "re");
  if (pipe == nullptr) return -1;
  output->clear();
  char buffer[4096];
  for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
    output->append(buffer, got);
  }
  return ExitStatus(pclose(pipe));
}

HostProcess::HostProcess(const std::string& command) : state_(std::make_unique<State>()) {
  // "e": the pipe must not leak into programs started later (a server holding
  // it open would keep the command from ever seeing it close).
  state_->pipe = popen(BashCommand(command).c_str(), "we");
  if (state_->pipe == nullptr) throw std::runtime_error("cannot run " + command);
}

// Closing the pipe is the stop signal (writing to it could raise SIGPIPE should
// the command have died); pclose waits until the command has ended.
HostProcess::~HostProcess() { pclose(state_->pipe); }

// A shell that RunHostCommand starts is a child of this program.
HostLifeline::HostLifeline() : pid_(static_cast<int>(getpid())) {}
HostLifeline::~HostLifeline() = default;

std::string HostPath(const std::string& path) { return path; }
std::string LocalPath(const std::string& hostPath) { return hostPath; }

}  // namespace rotalis::test
