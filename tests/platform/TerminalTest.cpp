// Text for a console reaches it as characters, whatever code page the console
// reads bytes in. Only Windows consoles have one.

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>

#include <iostream>
#include <string>

#include "platform/Environment.h"
#include "platform/Terminal.h"

namespace rotalis::test {
namespace {

HANDLE OpenScreen() {
  return CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(ConsoleText, ReachesTheConsoleAsCharactersWhateverItsCodePage) {
  HANDLE screen = OpenScreen();
  if (screen == INVALID_HANDLE_VALUE && AllocConsole()) screen = OpenScreen();
  if (screen == INVALID_HANDLE_VALUE) {
    // The run that gives the program a console says so.
    if (platform::GetEnvironment("ROTALIS_TEST_REQUIRE_CONSOLE")) FAIL() << "no console";
    GTEST_SKIP() << "no console here";
  }
  // A Brazilian workstation's console: bytes 0xC3 0xA3 would show as two
  // box-drawing signs there.
  SetConsoleOutputCP(850);
  const HANDLE previous = GetStdHandle(STD_ERROR_HANDLE);
  SetStdHandle(STD_ERROR_HANDLE, screen);
  platform::WriteConsoleTextAsCharacters();
  CONSOLE_SCREEN_BUFFER_INFO before{};
  ASSERT_TRUE(GetConsoleScreenBufferInfo(screen, &before));

  // Each piece is flushed at once (std::cerr is unit-buffered): the first ends
  // in the middle of "ã", the second in the middle of "€".
  std::cerr << "N\xC3";
  std::cerr << "\xA3o \xE2\x82";
  std::cerr << "\xAC!";
  std::cerr.flush();

  std::wstring shown(6, L' ');
  DWORD read = 0;
  ReadConsoleOutputCharacterW(screen, shown.data(), static_cast<DWORD>(shown.size()),
                              before.dwCursorPosition, &read);
  SetStdHandle(STD_ERROR_HANDLE, previous);
  EXPECT_TRUE(std::cerr.good());
  EXPECT_EQ(shown.substr(0, read), L"N\u00e3o \u20ac!");
}

}  // namespace
}  // namespace rotalis::test
#endif
