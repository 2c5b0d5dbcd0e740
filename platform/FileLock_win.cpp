#include "platform/FileLock.h"

#include <windows.h>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Windows byte-range locks bar other handles from the range: far beyond any
// data, they never meet a write.
constexpr DWORD kLockedByteHigh = 0x100;

OVERLAPPED LockedRange() {
  OVERLAPPED range{};
  range.Offset = 0;
  range.OffsetHigh = kLockedByteHigh;
  return range;
}

HANDLE AsHandle(std::intptr_t handle) { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

FileLock::FileLock(const std::string& path, LockFileVisibility visibility)
    : path_(path), handle_(reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE)) {
  // The attribute only counts when the file is created here.
  const DWORD attributes =
      visibility == LockFileVisibility::Hidden ? FILE_ATTRIBUTE_HIDDEN : FILE_ATTRIBUTE_NORMAL;
  const HANDLE file = CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_ALWAYS, attributes, nullptr);
  if (file == INVALID_HANDLE_VALUE)
    throw Exception("Cannot open the lock file '" + path +
                    "': " + WindowsErrorMessage(GetLastError(), path));
  handle_ = reinterpret_cast<std::intptr_t>(file);
}

FileLock::~FileLock() {
  Unlock();
  CloseHandle(AsHandle(handle_));
}

bool FileLock::TryLock() {
  if (locked_) return true;
  OVERLAPPED range = LockedRange();
  if (LockFileEx(AsHandle(handle_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                 &range)) {
    locked_ = true;
  } else if (const DWORD error = GetLastError();
             error != ERROR_LOCK_VIOLATION && error != ERROR_IO_PENDING) {
    throw Exception("Cannot lock '" + path_ + "': " + WindowsErrorMessage(error, path_));
  }
  return locked_;
}

void FileLock::Unlock() {
  if (!locked_) return;
  WipeNote();
  OVERLAPPED range = LockedRange();
  UnlockFileEx(AsHandle(handle_), 0, 1, 0, &range);
  locked_ = false;
}

// The handle is synchronous: an OVERLAPPED only names the offset.
void FileLock::WriteAtStart(const std::string& bytes) {
  OVERLAPPED at{};
  DWORD written = 0;
  if (!WriteFile(AsHandle(handle_), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                 &at) ||
      written != bytes.size())
    throw Exception("Cannot write '" + path_ + "': " + WindowsErrorMessage(GetLastError()));
}

std::string FileLock::ReadAtStart(std::size_t count) const {
  std::string bytes(count, '\0');
  OVERLAPPED at{};
  DWORD read = 0;
  if (!ReadFile(AsHandle(handle_), bytes.data(), static_cast<DWORD>(count), &read, &at)) {
    const DWORD error = GetLastError();
    if (error != ERROR_HANDLE_EOF)
      throw Exception("Cannot read '" + path_ + "': " + WindowsErrorMessage(error));
  }
  bytes.resize(read);
  return bytes;
}

}  // namespace rotalis::platform
