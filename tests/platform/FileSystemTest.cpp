#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "tests/support/TempFolder.h"
#if !defined(_WIN32)
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/Process.h"
#endif

namespace rotalis::platform {
namespace {

// Each name asked for, and where it is found on a case-sensitive system; a
// Windows file system ignores case itself, and the names are joined as given.
TEST(ResolveIgnoringCase, MatchesEachElementAndKeepsMissingSpelling) {
  test::TempFolder app;
  app.Write("Atualizadores_Versao/SETUP_1.exe", "");
  for (const auto& [asked, found] :
       {std::pair{"atualizadores_versao/setup_1.exe", "Atualizadores_Versao/SETUP_1.exe"},
        std::pair{"atualizadores_versao/novo.exe", "Atualizadores_Versao/novo.exe"},
        std::pair{"Modulos/mrotalis.bpl", "Modulos/mrotalis.bpl"}}) {
#if defined(_WIN32)
    EXPECT_EQ(ResolveIgnoringCase(app.Path(), asked), JoinPath(app.Path(), asked));
#else
    EXPECT_EQ(ResolveIgnoringCase(app.Path(), asked), app / found);
#endif
  }
}

TEST(FileSystem, WritesWholeFilesAndCreatesFolders) {
  test::TempFolder dir;
  CreateDirectories(dir / "a/b/c");
  WriteFileBytes(dir / "a/b/c/f", std::string("x\0y", 3));
  EXPECT_EQ(ReadFileBytes(dir / "a/b/c/f"), std::string("x\0y", 3));
  EXPECT_THROW(CreateDirectories(dir / "a/b/c/f/under-a-file"), Exception);
  EXPECT_THROW(ReadFileBytes(dir / "missing"), Exception);
}

#if !defined(_WIN32)
// A folder that takes no new file gets its files rewritten in place: the same
// file, so links to it and its owner stay. A program file refuses writes
// while it runs (ETXTBSY), as a file on a mounted Windows share refuses them
// while another client holds it (EBUSY): the write waits for the end instead
// of failing. The writer is not root, for whom no folder is ever closed.
TEST(FileSystem, FilesInAClosedFolderAreRewrittenInPlaceOnceFree) {
  namespace fs = std::filesystem;
  constexpr uid_t kNobody = 65534;
  test::TempFolder dir;
  fs::permissions(dir.Path(), fs::perms::all);
  const std::string plain = dir.Write("locked/kelvaERP.ini", "[posi]\r\n");
  const std::string program = dir / "locked/sleeper";
  fs::copy_file("/bin/sleep", program);
  fs::permissions(plain, fs::perms::all);
  fs::permissions(program, fs::perms::all);
  fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec |
                                      fs::perms::group_read | fs::perms::group_exec |
                                      fs::perms::others_read | fs::perms::others_exec);
  struct stat before {};
  ASSERT_EQ(stat(plain.c_str(), &before), 0);

  ChildProcess running = StartProcess(program, "0.4");
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    if (geteuid() == 0 && setuid(kNobody) != 0) _exit(2);
    try {
      WriteFileBytes(plain, "[posi]\r\nVersao=7\r\n");
      WriteFileBytes(program, "replaced");
    } catch (...) {
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(ReadFileBytes(plain), "[posi]\r\nVersao=7\r\n");
  struct stat after {};
  ASSERT_EQ(stat(plain.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_TRUE(running.WaitFor(0));  // it had ended before the write went through
  // Only a piece: the program's own bytes make an unreadable failure.
  EXPECT_EQ(ReadFileBytes(program).substr(0, 64), "replaced");
  fs::permissions(dir / "locked", fs::perms::all);
}
#endif

}  // namespace
}  // namespace rotalis::platform
