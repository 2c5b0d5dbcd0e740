#include "platform/FileSystem.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "platform/Exception.h"
#include "platform/Paths.h"
#include "platform/RetryWhileHeld.h"
#include "platform/ScopedHandle_win.h"
#include "platform/TemporaryName.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Reads of a large file go in pieces of this size.
constexpr DWORD kPieceSize = 256 * 1024;

[[noreturn]] void RaiseFor(const std::string& what, const std::string& path, DWORD error) {
  throw Exception(what + " '" + path + "': " + WindowsErrorMessage(error, path));
}

[[noreturn]] void RaiseLastFor(const std::string& what, const std::string& path) {
  RaiseFor(what, path, GetLastError());
}

// What another handle on the file answers while it lasts: opened without
// delete sharing (an antivirus scan, another workstation reading the file),
// a file whose removal waits for its last handle, a locked byte range.
bool Held(DWORD error) {
  return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED ||
         error == ERROR_LOCK_VIOLATION;
}

// ERROR_SUCCESS when the call succeeded, else its last error, for RetryWhileHeld.
DWORD ErrorOf(BOOL succeeded) { return succeeded ? ERROR_SUCCESS : GetLastError(); }

// Renames `from` to `to` over a file of that name, waiting while either is
// held; ERROR_SUCCESS or the error that stands.
DWORD MoveReplacing(const std::string& from, const std::string& to) {
  const std::wstring wideFrom = WideFromUtf8(from);
  const std::wstring wideTo = WideFromUtf8(to);
  return RetryWhileHeld(
      [&] {
        return ErrorOf(MoveFileExW(wideFrom.c_str(), wideTo.c_str(),
                                   MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
      },
      Held);
}

// Attributes of what the path names, links followed (GetFileAttributesW
// describes a link itself, so a linked file is opened to ask).
bool AttributesOf(const std::string& path, DWORD& attributes) {
  const std::wstring wide = WideFromUtf8(path);
  attributes = GetFileAttributesW(wide.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) return false;
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return true;
  ScopedHandle target(CreateFileW(wide.c_str(), 0,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  BY_HANDLE_FILE_INFORMATION info{};
  if (!target.valid() || !GetFileInformationByHandle(target.get(), &info)) return false;
  attributes = info.dwFileAttributes;
  return true;
}

// The file a symbolic link finally names, as the system resolves it; the
// path itself when it is no link or names nothing yet.
std::string FinalTarget(const std::string& path) {
  const std::wstring wide = WideFromUtf8(path);
  const DWORD attributes = GetFileAttributesW(wide.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
    return path;
  ScopedHandle target(CreateFileW(wide.c_str(), 0,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!target.valid()) return path;
  std::wstring name(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        GetFinalPathNameByHandleW(target.get(), name.data(), static_cast<DWORD>(name.size()), 0);
    if (length == 0) return path;
    if (length < name.size()) {
      name.resize(length);
      break;
    }
    name.resize(length);
  }
  // The answer is in the long-path form ("\\?\C:\..." or "\\?\UNC\server\...");
  // the plain form reads better in messages and means the same here.
  if (name.rfind(LR"(\\?\UNC\)", 0) == 0)
    name.replace(0, 8, LR"(\\)");
  else if (name.rfind(LR"(\\?\)", 0) == 0)
    name.erase(0, 4);
  return Utf8FromWide(name);
}

void WriteAll(HANDLE file, std::string_view bytes, const std::string& path) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(bytes.size() - written, 1 << 30));
    DWORD n = 0;
    if (!WriteFile(file, bytes.data() + written, chunk, &n, nullptr))
      RaiseLastFor("Cannot write", path);
    written += n;
  }
}

struct FindCloser {
  HANDLE handle;
  ~FindCloser() {
    if (handle != INVALID_HANDLE_VALUE) FindClose(handle);
  }
};

}  // namespace

std::string SystemErrorMessage(int error) { return WindowsErrorMessage(static_cast<DWORD>(error)); }

bool FileExists(const std::string& path) {
  DWORD attributes = 0;
  return AttributesOf(path, attributes) && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool DirectoryExists(const std::string& path) {
  DWORD attributes = 0;
  return AttributesOf(path, attributes) && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::vector<DirectoryEntry> ListDirectory(const std::string& folder) {
  std::vector<DirectoryEntry> entries;
  WIN32_FIND_DATAW found{};
  // Every attribute kind is listed: hidden and system files too.
  const FindCloser search{
      FindFirstFileW(WideFromUtf8(WithTrailingSeparator(folder) + "*").c_str(), &found)};
  if (search.handle == INVALID_HANDLE_VALUE) return entries;
  do {
    const std::wstring_view name = found.cFileName;
    if (name == L"." || name == L"..") continue;
    entries.push_back(
        {Utf8FromWide(name), (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
  } while (FindNextFileW(search.handle, &found));
  return entries;
}

// Windows' own names are case-insensitive: the loader, the profile functions
// and every other program already see one file whatever the spelling.
std::string ResolveIgnoringCase(std::string_view folder, std::string_view relative) {
  return JoinPath(folder, relative);
}

void CreateDirectories(const std::string& path) {
  if (path.empty() || DirectoryExists(path)) return;
  std::string trimmed = path;
  while (trimmed.size() > 1 && (trimmed.back() == '\\' || trimmed.back() == '/'))
    trimmed.pop_back();
  const auto parent = trimmed.find_last_of("\\/");
  // Stops at a drive ("C:") or the start of a share ("\\server").
  if (parent != std::string::npos && parent > 0 && trimmed[parent - 1] != ':' &&
      trimmed.find_first_not_of("\\/") < parent)
    CreateDirectories(trimmed.substr(0, parent));
  if (!CreateDirectoryW(WideFromUtf8(trimmed).c_str(), nullptr)) {
    const DWORD error = GetLastError();
    if (error != ERROR_ALREADY_EXISTS || !DirectoryExists(trimmed))
      RaiseFor("Cannot create folder", path, error);
  }
}

std::string ReadFileBytes(const std::string& path) {
  ScopedHandle file(CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid()) RaiseLastFor("Cannot open", path);
  std::string bytes;
  char buffer[65536];
  for (;;) {
    DWORD n = 0;
    if (!ReadFile(file.get(), buffer, sizeof buffer, &n, nullptr))
      RaiseLastFor("Cannot read", path);
    if (n == 0) break;
    bytes.append(buffer, n);
  }
  return bytes;
}

void WriteFileBytes(const std::string& path, std::string_view bytes) {
  // A link (one file shared by several installations) stays a link: the
  // write goes to the file it names, and the new file is made beside that.
  const std::string target = FinalTarget(path);
  const std::string temporary = TemporaryNameBeside(target);
  const std::wstring wideTemporary = WideFromUtf8(temporary);
  ScopedHandle file(CreateFileW(wideTemporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid()) {
    // A folder the user may not add files to can still hold a file they may
    // change: then it is changed in place, which a reader may see half done.
    if (GetLastError() == ERROR_ACCESS_DENIED) {
      const std::wstring wideTarget = WideFromUtf8(target);
      HANDLE opened = INVALID_HANDLE_VALUE;
      const DWORD error = RetryWhileHeld(
          [&] {
            opened = CreateFileW(wideTarget.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                 TRUNCATE_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
            return opened == INVALID_HANDLE_VALUE ? GetLastError() : ERROR_SUCCESS;
          },
          Held);
      ScopedHandle inPlace(opened);
      if (!inPlace.valid()) RaiseFor("Cannot write", target, error);
      WriteAll(inPlace.get(), bytes, target);
      if (!CloseHandle(inPlace.release())) RaiseLastFor("Cannot write", target);
      return;
    }
    RaiseLastFor("Cannot create", temporary);
  }
  try {
    WriteAll(file.get(), bytes, temporary);
    if (!CloseHandle(file.release())) RaiseLastFor("Cannot write", temporary);
  } catch (...) {
    if (file.valid()) CloseHandle(file.release());
    DeleteFileW(wideTemporary.c_str());
    throw;
  }
  const DWORD error = MoveReplacing(temporary, target);
  if (error != ERROR_SUCCESS) {
    DeleteFileW(wideTemporary.c_str());
    RaiseFor("Cannot replace", target, error);
  }
}

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
  const DWORD error = MoveReplacing(from, to);
  if (error != ERROR_SUCCESS) RaiseFor("Cannot rename to '" + to + "'", from, error);
}

void RemoveFile(const std::string& path) {
  const std::wstring wide = WideFromUtf8(path);
  const DWORD error = RetryWhileHeld([&] { return ErrorOf(DeleteFileW(wide.c_str())); }, Held);
  if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND)
    return;
  RaiseFor("Cannot remove", path, error);
}

}  // namespace rotalis::platform
