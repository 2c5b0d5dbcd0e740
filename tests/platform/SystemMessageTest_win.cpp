// The system's error texts as the platform layer hands them on.

#include <gtest/gtest.h>

#include <windows.h>

#include <string>

#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

bool HasRawInsert(const std::string& text) {
  for (std::size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1))
    if (at + 1 < text.size() && text[at + 1] >= '0' && text[at + 1] <= '9') return true;
  return false;
}

// Every text of the system's table, with a file named and without.
TEST(SystemMessage, NoTextKeepsARawInsert) {
  const std::string file = "C:\\Programa\\Modulos\\mrotalis.bpl";
  int withInserts = 0;
  for (DWORD code = 0; code < 16000; ++code) {
    const std::string bare = WindowsErrorMessage(code);
    const std::string named = WindowsErrorMessage(code, file);
    EXPECT_FALSE(HasRawInsert(bare)) << code << ": " << bare;
    EXPECT_FALSE(HasRawInsert(named)) << code << ": " << named;
    EXPECT_TRUE(bare.empty() || bare.front() != ' ') << code << ": " << bare;
    if (bare != named) ++withInserts;
  }
  // The table has texts with inserts, or this test would prove nothing.
  EXPECT_GT(withInserts, 0);
}

TEST(SystemMessage, TheFileTakesThePlaceOfTheFirstInsert) {
  const std::string file = "C:\\Programa\\Modulos\\mrotalis.bpl";
  const std::string named = WindowsErrorMessage(ERROR_BAD_EXE_FORMAT, file);
  EXPECT_NE(named.find(file), std::string::npos) << named;
  const std::string bare = WindowsErrorMessage(ERROR_BAD_EXE_FORMAT);
  EXPECT_EQ(bare.find("  "), std::string::npos) << bare;
  EXPECT_EQ(bare.find(" ."), std::string::npos) << bare;
  EXPECT_EQ(WindowsErrorMessage(ERROR_FILE_NOT_FOUND, file),
            WindowsErrorMessage(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(WindowsErrorMessage(0xDEAD0000u), "Windows error 3735879680");
}

}  // namespace
}  // namespace rotalis::platform
