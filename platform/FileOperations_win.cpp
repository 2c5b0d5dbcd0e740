#include "platform/FileOperations.h"

#include <windows.h>

#include <vector>

#include "platform/Exception.h"
#include "platform/ScopedHandle_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

constexpr DWORD kPieceSize = 256 * 1024;

[[noreturn]] void RaiseLastFor(const std::string& what, const std::string& path) {
  const DWORD error = GetLastError();
  throw Exception(what + " '" + path + "': " + WindowsErrorMessage(error));
}

}  // namespace

std::uint64_t FileSize(const std::string& path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(WideFromUtf8(path).c_str(), GetFileExInfoStandard, &data))
    RaiseLastFor("Cannot read the size of", path);
  return (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

void ReadFilePieces(const std::string& path,
                    const std::function<void(const char* data, std::size_t size)>& piece) {
  ScopedHandle file(CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file.valid()) RaiseLastFor("Cannot open", path);
  std::vector<char> buffer(kPieceSize);
  for (;;) {
    DWORD n = 0;
    if (!ReadFile(file.get(), buffer.data(), kPieceSize, &n, nullptr))
      RaiseLastFor("Cannot read", path);
    if (n == 0) break;
    piece(buffer.data(), n);
  }
}

void RenameFile(const std::string& from, const std::string& to) {
  if (!MoveFileExW(WideFromUtf8(from).c_str(), WideFromUtf8(to).c_str(),
                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
    RaiseLastFor("Cannot rename to '" + to + "'", from);
}

void RemoveFile(const std::string& path) {
  if (DeleteFileW(WideFromUtf8(path).c_str())) return;
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return;
  SetLastError(error);
  RaiseLastFor("Cannot remove", path);
}

}  // namespace rotalis::platform
