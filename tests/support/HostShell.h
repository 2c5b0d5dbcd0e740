#pragma once
// Shell commands on the machine that runs the test servers. On Linux that is
// this machine and these are plain shell calls. The Windows test programs run
// under Wine, which cannot wait for a Linux process nor feed it through a pipe:
// there the host agent (tests/fixtures/host/host_agent.py, started by
// scripts/test-windows.sh, reached through ROTALIS_HOST_AGENT) runs them.
//
// Commands are bash command lines; the paths in them are host paths (HostPath).
// ROTALIS_SOURCE_DIR, ROTALIS_BINARY_DIR and ROTALIS_MARIADB_CACHE reach the
// command as this program has them.

#include <memory>
#include <string>

#include "tests/support/TempFolder.h"

namespace rotalis::test {

// Runs the command to its end and returns its exit status (128 + the signal
// number when a signal ended it, -1 when it could not be run). With `output`,
// its standard output is captured there; otherwise it goes where this
// program's goes.
int RunHostCommand(const std::string& command, std::string* output = nullptr);

// A command running while the object lives, its standard input a pipe from this
// program. Destroying the object closes that pipe and waits for the command to
// end; should this program die, the pipe closes all the same. Servers that stop
// when their input closes therefore never outlive their test program.
class HostProcess {
 public:
  explicit HostProcess(const std::string& command);  // throws std::runtime_error
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  struct State;
  const State& Get() const { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

// A host process id that is alive exactly as long as this program: what host
// side watchdogs watch to clean up after a crashed test program. Under Wine
// this program has no host process of its own, so a keeper is spawned for it.
class HostLifeline {
 public:
  HostLifeline();
  ~HostLifeline();
  HostLifeline(const HostLifeline&) = delete;
  HostLifeline& operator=(const HostLifeline&) = delete;

  int Pid() const { return pid_; }

 private:
  std::unique_ptr<HostProcess> keeper_;
  int pid_ = 0;
};

// The host's name for a path of this program (identity on Linux). A trailing
// separator is kept.
std::string HostPath(const std::string& path);
// This program's name for a host path (identity on Linux).
std::string LocalPath(const std::string& hostPath);

// Quoted for bash, so that a path with blanks or quotes stays one word.
std::string ShellQuoted(const std::string& text);

// Starts a fixture server that owns `folder`: `command` runs on the host with
// its output in folder/server.log and its standard input a pipe from this
// program (see HostProcess), so the server stops when the returned process
// goes or this program dies. Returns once the server has written "ready" into
// folder/state; throws std::runtime_error("the <what> did not start: ...")
// with what it wrote there instead ("failed" and why) or, without a word from
// it within a minute, its log.
std::unique_ptr<HostProcess> StartFixture(const std::string& command, const TempFolder& folder,
                                          const std::string& what);

}  // namespace rotalis::test
