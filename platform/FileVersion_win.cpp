#include "platform/FileVersion.h"

#include <windows.h>

#include <vector>

#include "platform/WideText_win.h"

namespace rotalis::platform {

std::optional<FileVersionWords> ReadFileVersion(const std::string& path) {
  const std::wstring widePath = WideFromUtf8(path);
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(widePath.c_str(), &handle);
  if (size == 0) return std::nullopt;
  std::vector<unsigned char> info(size);
  if (!GetFileVersionInfoW(widePath.c_str(), handle, size, info.data())) return std::nullopt;
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) ||
      fixed == nullptr || length < sizeof(VS_FIXEDFILEINFO))
    return std::nullopt;
  return FileVersionWords{fixed->dwFileVersionMS, fixed->dwFileVersionLS};
}

}  // namespace rotalis::platform
