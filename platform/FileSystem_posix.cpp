#include "platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "platform/AsciiCase.h"
#include "platform/Exception.h"
#include "platform/Paths.h"
#include "platform/RetryWhileHeld.h"
#include "platform/ScopedFd_posix.h"
#include "platform/TemporaryName.h"

namespace rotalis::platform {
namespace {

// Reads of a large file go in pieces of this size.
constexpr std::size_t kPieceSize = 256 * 1024;

struct DirCloser {
  void operator()(DIR* dir) const { closedir(dir); }
};
using ScopedDir = std::unique_ptr<DIR, DirCloser>;

[[noreturn]] void RaiseErrno(const std::string& what, const std::string& path) {
  throw Exception(what + " '" + path + "': " + SystemErrorMessage(errno));
}

// A Windows share mounted here reports another client's open handle as
// EBUSY; a program being run from the file refuses writes with ETXTBSY. Both
// pass. EACCES does not: here it is a permission, which stays.
bool Held(int error) { return error == EBUSY || error == ETXTBSY; }

// 0 when the call succeeded, else its errno, for RetryWhileHeld.
int ErrnoOf(int result) { return result == 0 ? 0 : errno; }

// The path a chain of symbolic links ends in; the path itself when it is no
// link. The end need not exist (a link may name a file still to be written).
std::string FinalTarget(std::string path) {
  for (int hops = 0; hops < 40; ++hops) {
    char target[4096];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    if (length < 0) return path;
    std::string next(target, static_cast<std::size_t>(length));
    if (next.front() != '/') {
      const auto slash = path.find_last_of('/');
      next = (slash == std::string::npos ? std::string() : path.substr(0, slash + 1)) + next;
    }
    path = std::move(next);
  }
  errno = ELOOP;
  RaiseErrno("Cannot follow the links of", path);
}

void WriteAll(int fd, std::string_view bytes, const std::string& path) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = write(fd, bytes.data() + written, bytes.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) RaiseErrno("Cannot write", path);
    written += static_cast<std::size_t>(n);
  }
}

}  // namespace

std::string SystemErrorMessage(int error) {
  char buffer[256];
  // The GNU variant may return a static string instead of filling the buffer.
  return strerror_r(error, buffer, sizeof buffer);
}

bool FileExists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool DirectoryExists(const std::string& path) {
  struct stat st {};
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::vector<DirectoryEntry> ListDirectory(const std::string& folder) {
  std::vector<DirectoryEntry> entries;
  ScopedDir dir(opendir(folder.c_str()));
  if (!dir) return entries;
  while (const dirent* entry = readdir(dir.get())) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    bool isDirectory = entry->d_type == DT_DIR;
    if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK)
      isDirectory = DirectoryExists(JoinPath(folder, name));
    entries.push_back({std::string(name), isDirectory});
  }
  return entries;
}

std::string ResolveIgnoringCase(std::string_view folder, std::string_view relative) {
  std::string current = WithTrailingSeparator(folder);
  bool first = true;
  while (!relative.empty()) {
    const auto slash = relative.find('/');
    const std::string_view element = relative.substr(0, slash);
    relative = slash == std::string_view::npos ? std::string_view{} : relative.substr(slash + 1);
    if (element.empty()) continue;
    std::string chosen(element);
    if (!FileExists(current + chosen) && !DirectoryExists(current + chosen)) {
      for (const auto& entry : ListDirectory(current)) {
        if (EqualsIgnoringAsciiCase(entry.name, element)) {
          chosen = entry.name;
          break;
        }
      }
    }
    current += (first ? "" : "/") + chosen;
    first = false;
  }
  return current;
}

void CreateDirectories(const std::string& path) {
  if (path.empty() || DirectoryExists(path)) return;
  std::string trimmed = path;
  while (trimmed.size() > 1 && trimmed.back() == '/') trimmed.pop_back();
  const auto parent = trimmed.find_last_of('/');
  if (parent != std::string::npos && parent > 0) CreateDirectories(trimmed.substr(0, parent));
  if (mkdir(trimmed.c_str(), 0777) != 0 && errno != EEXIST)
    RaiseErrno("Cannot create folder", path);
}

std::string ReadFileBytes(const std::string& path) {
  ScopedFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) RaiseErrno("Cannot open", path);
  std::string bytes;
  char buffer[65536];
  for (;;) {
    const ssize_t n = read(fd.get(), buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) RaiseErrno("Cannot read", path);
    if (n == 0) break;
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
  return bytes;
}

void WriteFileBytes(const std::string& path, std::string_view bytes) {
  // A link (one file shared by several installations) stays a link: the
  // write goes to the file it names, and the new file is made beside that.
  const std::string target = FinalTarget(path);
  const std::string temporary = TemporaryNameBeside(target);
  struct stat st {};
  const mode_t mode = stat(target.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0666;
  ScopedFd fd(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
  if (fd.get() < 0) {
    // A folder the user may not add files to can still hold a file they may
    // change: then it is changed in place, which a reader may see half done.
    if (errno == EACCES || errno == EPERM) {
      int opened = -1;
      errno = RetryWhileHeld(
          [&] {
            opened = open(target.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
            return opened < 0 ? errno : 0;
          },
          Held);
      ScopedFd inPlace(opened);
      if (inPlace.get() < 0) RaiseErrno("Cannot write", target);
      WriteAll(inPlace.get(), bytes, target);
      if (close(inPlace.release()) != 0) RaiseErrno("Cannot write", target);
      return;
    }
    RaiseErrno("Cannot create", temporary);
  }
  try {
    WriteAll(fd.get(), bytes, temporary);
    if (close(fd.release()) != 0) RaiseErrno("Cannot write", temporary);
  } catch (...) {
    unlink(temporary.c_str());
    throw;
  }
  const int error =
      RetryWhileHeld([&] { return ErrnoOf(rename(temporary.c_str(), target.c_str())); }, Held);
  if (error != 0) {
    unlink(temporary.c_str());
    errno = error;
    RaiseErrno("Cannot replace", target);
  }
}

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
  errno = RetryWhileHeld([&] { return ErrnoOf(std::rename(from.c_str(), to.c_str())); }, Held);
  if (errno != 0) RaiseErrno("Cannot rename to '" + to + "'", from);
}

void RemoveFile(const std::string& path) {
  errno = RetryWhileHeld([&] { return ErrnoOf(unlink(path.c_str())); }, Held);
  if (errno != 0 && errno != ENOENT) RaiseErrno("Cannot remove", path);
}

}  // namespace rotalis::platform
