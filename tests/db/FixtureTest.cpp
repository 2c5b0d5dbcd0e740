// The private server goes away with the test program that started it, also
// when that program crashes.

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>
#include <thread>

#include "platform/ChildProcess.h"
#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

// The server is a host process, whatever this program runs on.
bool ProcessAlive(const std::string& pid) {
  return test::RunHostCommand("kill -0 " + pid + " 2>/dev/null") == 0;
}

TEST(MariaDbFixture, TheServerDiesWithACrashedTestProgram) {
  test::TempFolder scratch;
  platform::ChildCommand probe;
  probe.program = test::LocalPath(ROTALIS_CRASH_PROBE);  // compiled in as a host path
  probe.environment = platform::CurrentEnvironment();
  probe.outputFile = scratch / "out";
  probe.errorFile = scratch / "errors";
  platform::RunChildToEnd(probe);  // ends by abort()
  std::string folder;
  std::ifstream(scratch / "out") >> folder;
  ASSERT_FALSE(folder.empty()) << "the probe did not start a server";
  std::string pid;
  std::ifstream(folder + "server.pid") >> pid;
  ASSERT_FALSE(pid.empty());
  // The watchdog looks twice a second; give it far more than that.
  bool alive = true;
  for (int i = 0; i < 300 && alive; ++i) {
    alive = ProcessAlive(pid);
    if (alive) std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  EXPECT_FALSE(alive) << "server " << pid << " outlived its test program";
  // Through the host: a socket file left behind is no file Windows can delete.
  test::RunHostCommand("rm -rf " + test::ShellQuoted(test::HostPath(folder)));
}

}  // namespace
}  // namespace rotalis
