#include "platform/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

namespace rotalis::platform {

OutputFile::OutputFile(const std::string& path, bool executable) : path_(path) {
  fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, executable ? 0777 : 0666);
  if (fd_ < 0)
    throw Exception("Cannot create the file '" + path + "': " + SystemErrorMessage(errno));
}

OutputFile::~OutputFile() { close(fd_); }

void OutputFile::Write(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd_, data, size);
    if (written < 0) {
      if (errno == EINTR) continue;
      throw Exception("Cannot write the file '" + path_ + "': " + SystemErrorMessage(errno));
    }
    data += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace rotalis::platform
