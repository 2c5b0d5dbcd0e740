#include "platform/FileLock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

namespace rotalis::platform {
namespace {

// Far beyond any data the file holds, so that the lock never meets a write.
constexpr off_t kLockedByte = static_cast<off_t>(1) << 40;

bool SetLock(int fd, short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kLockedByte;
  lock.l_len = 1;
  // Open file description locks: a classic process lock would vanish as soon
  // as the process closed any other descriptor of the same file (the report
  // file is read and written through descriptors of its own).
  int result;
  do {
    result = fcntl(fd, F_OFD_SETLK, &lock);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

}  // namespace

FileLock::FileLock(const std::string& path, LockFileVisibility /*visibility: the name's*/)
    : path_(path), handle_(-1) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0)
    throw Exception("Cannot open the lock file '" + path + "': " + SystemErrorMessage(errno));
  handle_ = fd;
}

FileLock::~FileLock() {
  WipeNote();
  // Closing the only descriptor of the description releases its lock.
  close(static_cast<int>(handle_));
}

bool FileLock::TryLock() {
  if (locked_) return true;
  if (SetLock(static_cast<int>(handle_), F_WRLCK)) {
    locked_ = true;
  } else if (errno != EAGAIN && errno != EACCES) {
    throw Exception("Cannot lock '" + path_ + "': " + SystemErrorMessage(errno));
  }
  return locked_;
}

void FileLock::Unlock() {
  if (!locked_) return;
  WipeNote();
  SetLock(static_cast<int>(handle_), F_UNLCK);
  locked_ = false;
}

void FileLock::WriteAtStart(const std::string& bytes) {
  const ssize_t written = pwrite(static_cast<int>(handle_), bytes.data(), bytes.size(), 0);
  if (written != static_cast<ssize_t>(bytes.size()))
    throw Exception("Cannot write '" + path_ +
                    "': " + (written < 0 ? SystemErrorMessage(errno) : std::string("short write")));
}

std::string FileLock::ReadAtStart(std::size_t count) const {
  std::string bytes(count, '\0');
  const ssize_t read = pread(static_cast<int>(handle_), bytes.data(), count, 0);
  if (read < 0) throw Exception("Cannot read '" + path_ + "': " + SystemErrorMessage(errno));
  bytes.resize(static_cast<std::size_t>(read));
  return bytes;
}

}  // namespace rotalis::platform
