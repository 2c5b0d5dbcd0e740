#pragma once
// Starting another program and waiting for it to end.

#include <string>

namespace rotalis::platform {

// Whether the shell may hold a program back to ask the user about where its
// file came from (Windows' zone check: the "Open File - Security Warning" box
// for a file from the internet or from a file server outside the local
// intranet zone). POSIX systems have no such check.
enum class ZoneCheck {
  Ask,   // as for a program started by hand
  Skip,  // the caller has just checked the file's publisher itself
};

// A program started by StartProcess. The object does not stop the program when
// it goes: it only lets go of it.
class ChildProcess {
 public:
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ChildProcess(const ChildProcess&) = delete;
  ~ChildProcess();

  // Waits up to `milliseconds` for the program to end; true once it has ended
  // (and ever after). A failed wait counts as "still running", except when the
  // system says the program no longer exists.
  bool WaitFor(int milliseconds);

  // The exit status once WaitFor returned true (128 + signal number when a
  // signal ended it); -1 before.
  int ExitCode() const { return exitCode_; }

 private:
  friend ChildProcess StartProcess(const std::string&, const std::string&, ZoneCheck);
#if defined(_WIN32)
  explicit ChildProcess(void* process) : process_(process) {}

  void* process_ = nullptr;  // the process handle; null once it has ended
#else
  ChildProcess(int pid, int pidFd) : pid_(pid), pidFd_(pidFd) {}

  int pid_ = -1;
  int pidFd_ = -1;  // a descriptor that becomes readable when the program ends; -1 if none
#endif
  int exitCode_ = -1;
};

// Starts the program at `path` directly (no shell, no search along PATH) with
// the argument text, in the current folder and with this process's
// environment. On Windows the program is opened through the shell with the
// argument text as its parameters, unsplit; on POSIX the text is split at
// blanks into separate arguments, without any quoting rules: "  /a /b  /c "
// gives "/a", "/b", "/c". Raises rotalis::Exception with the system's message
// text (e.g. "No such file or directory") when the program cannot be started.
ChildProcess StartProcess(const std::string& path, const std::string& arguments,
                          ZoneCheck zoneCheck = ZoneCheck::Ask);

}  // namespace rotalis::platform
