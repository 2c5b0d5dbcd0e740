// The private server goes away with the test program that started it, also
// when that program crashes.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

bool ProcessAlive(const std::string& pid) {
  return std::system(("kill -0 " + pid + " 2>/dev/null").c_str()) == 0;
}

TEST(MariaDbFixture, TheServerDiesWithACrashedTestProgram) {
  test::TempFolder scratch;
  const std::string probe = std::string(ROTALIS_CRASH_PROBE);
  std::system(("'" + probe + "' >'" + scratch / "out" + "' 2>/dev/null").c_str());
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
    if (alive) std::system("sleep 0.1");
  }
  EXPECT_FALSE(alive) << "server " << pid << " outlived its test program";
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace rotalis
