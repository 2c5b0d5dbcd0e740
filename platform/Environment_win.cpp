#include "platform/Environment.h"

#include <windows.h>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {

// The process environment block, not the C runtime's copy of it: that block is
// what started programs inherit, and what SetEnvironmentVariableW changes.
std::optional<std::string> GetEnvironment(const std::string& name) {
  const std::wstring wideName = WideFromUtf8(name);
  SetLastError(ERROR_SUCCESS);
  DWORD size = GetEnvironmentVariableW(wideName.c_str(), nullptr, 0);
  if (size == 0) {
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    return std::string();
  }
  std::wstring value(size, L'\0');
  // The variable may change between the two calls; try until it fits.
  for (;;) {
    const DWORD n = GetEnvironmentVariableW(wideName.c_str(), value.data(), size);
    if (n == 0)
      return GetLastError() == ERROR_ENVVAR_NOT_FOUND ? std::nullopt
                                                      : std::optional<std::string>("");
    if (n < size) {
      value.resize(n);
      return Utf8FromWide(value);
    }
    size = n;
    value.assign(size, L'\0');
  }
}

void SetEnvironment(const std::string& name, const std::string& value) {
  if (!SetEnvironmentVariableW(WideFromUtf8(name).c_str(), WideFromUtf8(value).c_str()))
    RaiseLastError("Cannot set the environment variable " + name);
}

char PathListSeparator() { return ';'; }

}  // namespace rotalis::platform
