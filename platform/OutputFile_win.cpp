#include "platform/OutputFile.h"

#include <windows.h>

#include <algorithm>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {

// Windows decides by the file name whether a file is a program, so
// `executable` needs nothing here.
OutputFile::OutputFile(const std::string& path, bool, bool append) : path_(path) {
  file_ = CreateFileW(WideFromUtf8(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                      append ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file_ == INVALID_HANDLE_VALUE) {
    file_ = nullptr;
    RaiseLastError("Cannot create the file '" + path + "'");
  }
  LARGE_INTEGER end{};
  if (append && !SetFilePointerEx(static_cast<HANDLE>(file_), end, nullptr, FILE_END)) {
    CloseHandle(static_cast<HANDLE>(file_));
    file_ = nullptr;
    RaiseLastError("Cannot append to the file '" + path + "'");
  }
  buffer_.reserve(kBufferSize);
}

OutputFile::~OutputFile() {
  try {
    Flush();
  } catch (const Exception&) {
    // Only reached when the transfer failed already; that error is the one reported.
  }
  CloseHandle(static_cast<HANDLE>(file_));
}

void OutputFile::WriteThrough(const char* data, std::size_t size) {
  while (size > 0) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1 << 30));
    DWORD written = 0;
    if (!WriteFile(static_cast<HANDLE>(file_), data, chunk, &written, nullptr))
      RaiseLastError("Cannot write the file '" + path_ + "'");
    data += written;
    size -= written;
  }
}

}  // namespace rotalis::platform
