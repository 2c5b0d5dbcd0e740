// The lock several launchers take on one file: exclusive between holders,
// released with its holder, and no obstacle to writing the file's data.

#include "platform/FileLock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "tests/support/TempFolder.h"

namespace rotalis::platform {
namespace {

using std::chrono::milliseconds;

TEST(FileLock, OneHolderAtATimeUntilReleasedOrGone) {
  test::TempFolder folder;
  const std::string path = folder / "rotalis.lock";
  FileLock first(path);
  FileLock second(path);
  EXPECT_TRUE(FileExists(path));
  EXPECT_TRUE(first.TryLock());
  EXPECT_TRUE(first.TryLock());  // held already
  EXPECT_FALSE(second.TryLock());
  EXPECT_FALSE(second.LockWithin(milliseconds(100)));
  first.Unlock();
  EXPECT_TRUE(second.TryLock());
  {
    FileLock third(path);
    EXPECT_FALSE(third.TryLock());
    second.Unlock();
    EXPECT_TRUE(third.TryLock());
  }
  EXPECT_TRUE(first.TryLock());
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

// Windows bars other handles from a locked range: the lock must not keep the
// report file, which carries its own lock, from being read and written.
TEST(FileLock, TheLockedFileStaysReadableAndWritable) {
  test::TempFolder folder;
  const std::string path = folder.Write("bugreport.txt", "first\n");
  FileLock lock(path);
  ASSERT_TRUE(lock.TryLock());
  {
    std::ofstream out(path, std::ios::binary | std::ios::app);
    out << "second\n";
    ASSERT_TRUE(out.good());
  }
  EXPECT_EQ(ReadFileBytes(path), "first\nsecond\n");
  EXPECT_THROW(FileLock(folder / "missing/rotalis.lock"), Exception);
}

}  // namespace
}  // namespace rotalis::platform
