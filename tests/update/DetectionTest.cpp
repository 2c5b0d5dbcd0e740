#include <gtest/gtest.h>

#include <algorithm>

#include "config/Edition.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VersionedFile.h"
#include "update/ExeFiles.h"
#include "update/FileVersionText.h"

namespace rotalis {
namespace {

TEST(Edition, FirstExecutableOfTheTableDecides) {
  test::TempFolder app;
  EXPECT_EQ(DetectEdition(app.Path()), "");
  app.Write("TolmaERP.exe", "");
  EXPECT_EQ(DetectEdition(app.Path()), "tolma");
  app.Write("kelvaerp.EXE", "");
  EXPECT_EQ(DetectEdition(app.Path()), "kelva");
  test::TempFolder other;
  other.Write("DorimERP.exe/inside", "");  // a folder of that name is no executable
  EXPECT_EQ(DetectEdition(other.Path()), "");
}

TEST(FileVersionText, FormatsTheStampedVersion) {
  test::TempFolder dir;
  struct Case {
    std::uint16_t a, b, c, d;
    const char* text;
  };
  for (const Case& c : {Case{1, 2, 3, 4, "1.02.3.4"}, Case{2, 10, 0, 15, "2.10.0.15"},
                        Case{1, 123, 4, 5, "1.123.4.5"}, Case{0, 0, 0, 0, "0.00.0.0"},
                        Case{65535, 65535, 65535, 65535, "65535.65535.65535.65535"}}) {
    test::WriteVersionedFile(dir / "v", c.a, c.b, c.c, c.d);
    EXPECT_EQ(FileVersionText(dir / "v"), c.text);
  }
  EXPECT_EQ(FileVersionText(dir.Write("plain.exe", "MZ not an ELF file")), "0.0.0.0");
  EXPECT_EQ(FileVersionText("/bin/sh"), "0.0.0.0");  // an ELF file without the stamp
  EXPECT_EQ(FileVersionText(dir / "missing"), "0.0.0.0");
}

TEST(ExeFiles, ListsOnlyExeFiles) {
  test::TempFolder dir;
  dir.Write("Setup.EXE", "");
  dir.Write("notes.txt", "");
  dir.Write(".hidden.exe", "");
  dir.Write("old.exe/x", "");
  dir.Write("setup.exe.bak", "");
  std::vector<std::string> list = {"kept"};
  ListExeFiles(dir.Path().substr(0, dir.Path().size() - 1), list);
  std::sort(list.begin() + 1, list.end());
  EXPECT_EQ(list, (std::vector<std::string>{"kept", dir / ".hidden.exe", dir / "Setup.EXE"}));
  ListExeFiles(dir / "missing", list);
  EXPECT_EQ(list.size(), 3u);
}

}  // namespace
}  // namespace rotalis
