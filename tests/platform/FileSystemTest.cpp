#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "tests/support/TempFolder.h"

namespace rotalis::platform {
namespace {

TEST(ResolveIgnoringCase, MatchesEachElementAndKeepsMissingSpelling) {
  test::TempFolder app;
  app.Write("Atualizadores_Versao/SETUP_1.exe", "");
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/setup_1.exe"),
            app / "Atualizadores_Versao/SETUP_1.exe");
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/novo.exe"),
            app / "Atualizadores_Versao/novo.exe");
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "Modulos/mrotalis.bpl"), app / "Modulos/mrotalis.bpl");
}

TEST(Paths, ApplicationFolderIgnoresTheWorkingDirectory) {
  test::TempFolder elsewhere;
  char previous[4096];
  ASSERT_NE(getcwd(previous, sizeof previous), nullptr);
  ASSERT_EQ(chdir(elsewhere.Path().c_str()), 0);
  const std::string folder = ApplicationFolder();
  ASSERT_EQ(chdir(previous), 0);
  EXPECT_EQ(folder, FolderOf(ExecutablePath()));
  EXPECT_EQ(folder.back(), '/');
  EXPECT_NE(folder, elsewhere.Path());
}

TEST(FileSystem, WritesWholeFilesAndCreatesFolders) {
  test::TempFolder dir;
  CreateDirectories(dir / "a/b/c");
  EXPECT_TRUE(DirectoryExists(dir / "a/b/c"));
  WriteFileBytes(dir / "a/b/c/f", std::string("x\0y", 3));
  EXPECT_EQ(ReadFileBytes(dir / "a/b/c/f"), std::string("x\0y", 3));
  EXPECT_THROW(CreateDirectories(dir / "a/b/c/f/under-a-file"), Exception);
  EXPECT_THROW(ReadFileBytes(dir / "missing"), Exception);
}

}  // namespace
}  // namespace rotalis::platform
