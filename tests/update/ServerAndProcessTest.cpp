// Reaching the update server by ping, and starting installers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/update/UpdateFixture.h"
#if defined(_WIN32)
#include <windows.h>

#include "platform/WideText_win.h"
#endif
#include "update/UpdateDriver.h"
#include "update/UpdateServer.h"

namespace rotalis::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(ServerReachableTest, AnswersOnlyForAHostThatReplies) {
  // On loopback the reply comes back unless this user may not ping at all
  // (see the README: net.ipv4.ping_group_range or CAP_NET_RAW).
  EXPECT_TRUE(ServerReachable("127.0.0.1", kUpdateServerPingMs));
  EXPECT_FALSE(ServerReachable("", 200));
}

TEST(DigitsOnlyTest, KeepsTheDigitsOfTheWholePath) {
  EXPECT_EQ(DigitsOnly("C:\\ERP2\\atualizadores_versao\\Setup_1.02.3.5.exe"), "210235");
  EXPECT_EQ(DigitsOnly("setup.exe"), "");
  EXPECT_EQ(DigitsOnly("\xd9\xa3x"), "");  // an Arabic-Indic digit is no digit here
}

class RunAndWaitTest : public UpdateTest {};

// The arguments reach the installer split at blanks, with no shell to
// interpret them, and the call returns only once it has ended; a start that
// fails is reported with the system's words.
TEST_F(RunAndWaitTest, PassesTheArgumentsAsTheyAreWaitsForTheEndOrSaysWhyNot) {
  // The recording installer takes its time when its name starts with "slow".
  const std::string slow = PutInstaller("slow.exe");

  EXPECT_EQ(RunAndWait(ui, slow, " one  two $HOME;touch 'x' `id`"), -1);

  ASSERT_EQ(Runs().size(), 1u);  // ended before RunAndWait returned
  EXPECT_THAT(Runs()[0].arguments, ElementsAre("one", "two", "$HOME;touch", "'x'", "`id`"));
  EXPECT_FALSE(Exists("x"));
  EXPECT_GT(ui.processMessagesCalls, 0);
  EXPECT_THAT(ui.messages, IsEmpty());

  // One that cannot start is named by the whole path it was started with.
  EXPECT_EQ(RunAndWait(ui, app / "missing.exe", ""), -1);
#if defined(_WIN32)
  const std::string reason = platform::WindowsErrorMessage(ERROR_FILE_NOT_FOUND);
#else
  const std::string reason = "No such file or directory";
#endif
  EXPECT_THAT(ui.messages, ElementsAre("Não foi possível iniciar o instalador " +
                                       app / "missing.exe" + ": " + reason));
}

}  // namespace
}  // namespace rotalis::test
