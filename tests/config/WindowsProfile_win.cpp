#include "tests/config/WindowsProfile.h"

#include <windows.h>

#include <vector>

#include "platform/WideText_win.h"

namespace rotalis::test {

std::string WindowsProfileString(const std::string& path, const std::string& section,
                                 const std::string& key, const std::string& defaultValue) {
  using platform::WideFromUtf8;
  std::vector<wchar_t> buffer(4096);
  const DWORD length = GetPrivateProfileStringW(
      WideFromUtf8(section).c_str(), WideFromUtf8(key).c_str(), WideFromUtf8(defaultValue).c_str(),
      buffer.data(), static_cast<DWORD>(buffer.size()), WideFromUtf8(path).c_str());
  return platform::Utf8FromWide(std::wstring_view(buffer.data(), length));
}

bool WindowsWriteProfileString(const std::string& path, const std::string& section,
                               const std::string& key, const std::string& value) {
  using platform::WideFromUtf8;
  return WritePrivateProfileStringW(WideFromUtf8(section).c_str(), WideFromUtf8(key).c_str(),
                                    WideFromUtf8(value).c_str(),
                                    WideFromUtf8(path).c_str()) != FALSE;
}

}  // namespace rotalis::test
