#include "platform/OutputFile.h"

#include "platform/Exception.h"

// The buffering is the same everywhere; opening, writing through and closing
// are the system's (OutputFile_posix.cpp, OutputFile_win.cpp).
namespace rotalis::platform {

void OutputFile::Write(const char* data, std::size_t size) {
  if (buffer_.size() + size > kBufferSize) Flush();
  if (size >= kBufferSize) {
    WriteThrough(data, size);
  } else {
    buffer_.append(data, size);
  }
}

void OutputFile::Flush() {
  if (buffer_.empty()) return;
  try {
    WriteThrough(buffer_.data(), buffer_.size());
  } catch (const Exception&) {
    buffer_.clear();  // reported once, not again when the file closes
    throw;
  }
  buffer_.clear();
}

}  // namespace rotalis::platform
