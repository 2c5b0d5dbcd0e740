#include "platform/FileOperations.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/ScopedFd_posix.h"

namespace rotalis::platform {
namespace {

constexpr std::size_t kPieceSize = 256 * 1024;

[[noreturn]] void RaiseErrno(const std::string& what, const std::string& path) {
  throw Exception(what + " '" + path + "': " + SystemErrorMessage(errno));
}

}  // namespace

std::uint64_t FileSize(const std::string& path) {
  struct stat st {};
  if (stat(path.c_str(), &st) != 0) RaiseErrno("Cannot read the size of", path);
  return static_cast<std::uint64_t>(st.st_size);
}

void ReadFilePieces(const std::string& path,
                    const std::function<void(const char* data, std::size_t size)>& piece) {
  ScopedFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) RaiseErrno("Cannot open", path);
  std::vector<char> buffer(kPieceSize);
  for (;;) {
    const ssize_t n = read(fd.get(), buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) RaiseErrno("Cannot read", path);
    if (n == 0) break;
    piece(buffer.data(), static_cast<std::size_t>(n));
  }
}

void RenameFile(const std::string& from, const std::string& to) {
  if (std::rename(from.c_str(), to.c_str()) != 0) RaiseErrno("Cannot rename to '" + to + "'", from);
}

void RemoveFile(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) RaiseErrno("Cannot remove", path);
}

}  // namespace rotalis::platform
