// Configuration files shared through symbolic links, and folders that take no
// new file: the write must reach the file the link names and leave the link
// as it is.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "config/IniFile.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

namespace fs = std::filesystem;

// Nobody's user id, as which a child process writes when the test runs as
// root (for whom no folder is ever closed).
constexpr uid_t kNobody = 65534;

TEST(IniFileLink, WritesThroughAChainOfLinksAndKeepsThem) {
  test::TempFolder dir;
  const std::string real = dir.Write("shared/kelvaERP.ini", "[posi]\nservidor=db\n");
  fs::create_directories(dir / "app");
  fs::create_symlink("../shared/kelvaERP.ini", dir / "shared/current.ini");
  fs::create_symlink(dir / "shared/current.ini", dir / "app/kelvaERP.ini");

  IniFile(dir / "app/kelvaERP.ini").WriteString("posi", "Versao", "25285014");

  EXPECT_TRUE(fs::is_symlink(dir / "app/kelvaERP.ini"));
  EXPECT_TRUE(fs::is_symlink(dir / "shared/current.ini"));
  EXPECT_EQ(dir.Read("shared/kelvaERP.ini"), "[posi]\nservidor=db\nVersao=25285014\n");
  // Nothing was left beside the link or the file.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "app"), fs::directory_iterator()), 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "shared"), fs::directory_iterator()), 2);
}

TEST(IniFileLink, ALinkToAFileNotYetThereCreatesIt) {
  test::TempFolder dir;
  fs::create_directories(dir / "shared");
  fs::create_symlink(dir / "shared/erp.ini", dir / "erp.ini");
  IniFile(dir / "erp.ini").WriteString("posi", "Versao", "1");
  EXPECT_TRUE(fs::is_symlink(dir / "erp.ini"));
  EXPECT_EQ(dir.Read("shared/erp.ini"), "[posi]\r\nVersao=1\r\n");
}

TEST(IniFileLink, AFolderThatTakesNoNewFileGetsTheFileRewrittenInPlace) {
  test::TempFolder dir;
  const std::string path = dir.Write("locked/kelvaERP.ini", "[posi]\r\nservidor=db\r\n");
  fs::permissions(dir.Path(), fs::perms::all);
  fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec |
                                      fs::perms::group_read | fs::perms::group_exec |
                                      fs::perms::others_read | fs::perms::others_exec);
  fs::permissions(path, fs::perms::all);
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);

  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (geteuid() == 0 && setuid(kNobody) != 0) _exit(2);
    try {
      IniFile(path).WriteString("posi", "Versao", "7");
    } catch (...) {
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(dir.Read("locked/kelvaERP.ini"), "[posi]\r\nservidor=db\r\nVersao=7\r\n");
  struct stat after {};
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);  // the same file, changed where it is
  fs::permissions(dir / "locked", fs::perms::all);
}

}  // namespace
}  // namespace rotalis
