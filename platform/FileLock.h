#pragma once
// An exclusive lock that several processes (and several workstations on one
// file share) take on one lock file: advisory byte-range locks (open file
// description locks on Linux, which also exclude other descriptors of the same
// process, LockFileEx on Windows), both honoured by network file systems. The
// locked byte lies far beyond any data, so a file that is also written through
// other handles can carry its own lock. The lock goes with the object, and
// with the process, however it ends.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace rotalis::platform {

// Hidden: a lock file that users of the folder should not come across (the
// system's hidden attribute where it has one; on POSIX systems the caller
// gives it a name that starts with a dot).
enum class LockFileVisibility { Visible, Hidden };

class FileLock {
 public:
  // Opens the file, creating it when missing; does not lock yet. Raises
  // rotalis::Exception when the file can be neither opened nor created.
  explicit FileLock(const std::string& path,
                    LockFileVisibility visibility = LockFileVisibility::Visible);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  // Takes the lock if no one else holds it; true when this object holds it.
  bool TryLock();
  // Tries every few milliseconds until the lock is had or the time is up.
  bool LockWithin(std::chrono::milliseconds timeout);
  void Unlock();
  bool Locked() const { return locked_; }
  const std::string& Path() const { return path_; }

  // A lock file that holds nothing else can say who holds it: the holder
  // leaves a short text (at most kNoteBytes - 1 bytes of UTF-8, cut at a
  // character) at the start of the file, far below the locked byte, and those
  // who wait read it through their own handle. WriteNote raises unless this
  // object holds the lock; Unlock and the end of the object wipe the note
  // before the lock goes, so that a note names the holder of the moment (or
  // one that died holding it). ReadNote never raises: "" when there is none
  // or it cannot be read.
  static constexpr std::size_t kNoteBytes = 256;
  void WriteNote(std::string_view text);
  std::string ReadNote() const;

 private:
  // The operating system's positioned reads and writes at offset 0; they
  // raise rotalis::Exception.
  void WriteAtStart(const std::string& bytes);
  std::string ReadAtStart(std::size_t count) const;
  void WipeNote() noexcept;

  std::string path_;
  std::intptr_t handle_;
  bool locked_ = false;
  bool noted_ = false;
};

}  // namespace rotalis::platform
