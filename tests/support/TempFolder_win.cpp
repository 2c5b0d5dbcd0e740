#include <windows.h>

#include <random>
#include <stdexcept>
#include <string>

#include "platform/WideText_win.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {
namespace {

std::string RandomName(std::mt19937& random) {
  static constexpr char kCharacters[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  std::uniform_int_distribution<std::size_t> pick(0, sizeof kCharacters - 2);
  std::string name;
  for (int i = 0; i < 6; ++i) name += kCharacters[pick(random)];
  return name;
}

}  // namespace

TempFolder::TempFolder(const std::string& prefix) {
  wchar_t base[MAX_PATH + 1];
  const DWORD length = GetTempPathW(MAX_PATH + 1, base);
  if (length == 0 || length > MAX_PATH) throw std::runtime_error("GetTempPathW failed");
  const std::string parent = platform::Utf8FromWide(std::wstring_view(base, length));
  thread_local std::mt19937 random{std::random_device{}()};
  // Creating the folder is the test of its name being free, as with mkdtemp.
  for (int attempt = 0; attempt < 100; ++attempt) {
    const std::string candidate = parent + prefix + "-" + RandomName(random);
    if (CreateDirectoryW(platform::WideFromUtf8(candidate).c_str(), nullptr)) {
      path_ = candidate + "\\";
      return;
    }
    const DWORD error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS)
      throw std::runtime_error("cannot create a folder in " + parent + ": " +
                               platform::WindowsErrorMessage(error));
  }
  throw std::runtime_error("no free temporary folder name in " + parent);
}

}  // namespace rotalis::test
