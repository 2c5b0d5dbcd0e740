// The lock several launchers take on one file: exclusive between holders,
// released with its holder, carrying the holder's note to those who wait.

#include "platform/FileLock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>

#include "platform/Exception.h"
#include "tests/support/TempFolder.h"

namespace rotalis::platform {
namespace {

using std::chrono::milliseconds;

TEST(FileLock, OneHolderAtATimeUntilReleasedOrGone) {
  test::TempFolder folder;
  const std::string path = folder / "rotalis.lock";
  FileLock first(path);
  FileLock second(path);
  EXPECT_TRUE(first.TryLock());
  EXPECT_TRUE(first.TryLock());  // held already
  EXPECT_FALSE(second.TryLock());
  EXPECT_FALSE(second.LockWithin(milliseconds(100)));
  first.Unlock();
  EXPECT_TRUE(second.TryLock());
  EXPECT_THROW(FileLock(folder / "missing/rotalis.lock"), Exception);
}

TEST(FileLock, AWaiterGetsTheLockWhenTheHolderLetsGo) {
  test::TempFolder folder;
  const std::string path = folder / "rotalis.lock";
  auto holder = std::make_unique<FileLock>(path);
  ASSERT_TRUE(holder->TryLock());
  std::jthread release([&holder] {
    std::this_thread::sleep_for(milliseconds(200));
    holder.reset();
  });
  FileLock waiter(path);
  EXPECT_TRUE(waiter.LockWithin(std::chrono::seconds(30)));
}

// The holder's note is read by those who wait, through handles of their own
// (Windows bars other handles from a locked range), while the lock stays
// exclusive; it goes with the lock, and a shorter note leaves nothing of a
// longer one.
TEST(FileLock, TheHoldersNoteIsReadByWaitersAndGoesWithTheLock) {
  test::TempFolder folder;
  const std::string path = folder / "rotalis.lock";
  FileLock holder(path);
  FileLock waiter(path);
  EXPECT_EQ(waiter.ReadNote(), "");
  EXPECT_THROW(holder.WriteNote("CAIXA-02"), Exception);  // not held yet
  ASSERT_TRUE(holder.TryLock());
  holder.WriteNote("ESTAÇÃO-FISCAL-LONGA");
  holder.WriteNote("CAIXA-02");
  EXPECT_EQ(waiter.ReadNote(), "CAIXA-02");
  EXPECT_FALSE(waiter.TryLock());
  EXPECT_EQ(FileLock(path).ReadNote(), "CAIXA-02");
  holder.Unlock();
  EXPECT_EQ(waiter.ReadNote(), "");
  ASSERT_TRUE(waiter.TryLock());
}

// Whatever is found where the note goes is shown to people: one line of valid
// UTF-8, cut at a whole character.
TEST(FileLock, NotesAreReadAsOneLineOfValidText) {
  test::TempFolder folder;
  struct Case {
    std::string stored;
    std::string read;
  };
  const std::string longName = std::string(254, 'A') + "É";  // É would straddle the end
  const Case cases[] = {
      {"  CAIXA-02\r\n", "CAIXA-02"},
      {"CAIXA\t02", "CAIXA 02"},
      {"CAIXA\xff", "CAIXA\xef\xbf\xbd"},
      {std::string("NOME\0resto", 10), "NOME"},
  };
  for (const auto& c : cases) {
    const std::string path = folder.Write("stored.lock", c.stored);
    EXPECT_EQ(FileLock(path).ReadNote(), c.read) << c.stored;
  }
  FileLock holder(folder / "long.lock");
  ASSERT_TRUE(holder.TryLock());
  holder.WriteNote(longName);
  EXPECT_EQ(FileLock(folder / "long.lock").ReadNote(), std::string(254, 'A'));
}

}  // namespace
}  // namespace rotalis::platform
