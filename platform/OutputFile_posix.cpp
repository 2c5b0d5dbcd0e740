#include "platform/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

namespace rotalis::platform {

OutputFile::OutputFile(const std::string& path, bool executable, bool append) : path_(path) {
  file_ = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (append ? O_APPEND : O_TRUNC),
               executable ? 0777 : 0666);
  if (file_ < 0)
    throw Exception("Cannot create the file '" + path + "': " + SystemErrorMessage(errno));
  buffer_.reserve(kBufferSize);
}

OutputFile::~OutputFile() {
  try {
    Flush();
  } catch (const Exception&) {
    // Only reached when the transfer failed already; that error is the one reported.
  }
  close(file_);
}

void OutputFile::WriteThrough(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(file_, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      throw Exception("Cannot write the file '" + path_ + "': " + SystemErrorMessage(errno));
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace rotalis::platform
