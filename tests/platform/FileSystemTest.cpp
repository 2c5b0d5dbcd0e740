#include <gtest/gtest.h>

#include <filesystem>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "tests/support/TempFolder.h"

namespace rotalis::platform {
namespace {

TEST(ResolveIgnoringCase, MatchesEachElementAndKeepsMissingSpelling) {
  test::TempFolder app;
  app.Write("Atualizadores_Versao/SETUP_1.exe", "");
#if defined(_WIN32)
  // The file system ignores case itself: the names are joined as given.
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/setup_1.exe"),
            JoinPath(app.Path(), "atualizadores_versao/setup_1.exe"));
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/novo.exe"),
            JoinPath(app.Path(), "atualizadores_versao/novo.exe"));
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "Modulos/mrotalis.bpl"),
            JoinPath(app.Path(), "Modulos/mrotalis.bpl"));
#else
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/setup_1.exe"),
            app / "Atualizadores_Versao/SETUP_1.exe");
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "atualizadores_versao/novo.exe"),
            app / "Atualizadores_Versao/novo.exe");
  EXPECT_EQ(ResolveIgnoringCase(app.Path(), "Modulos/mrotalis.bpl"), app / "Modulos/mrotalis.bpl");
#endif
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
