#pragma once
// A file held open by another program the way an antivirus scan or another
// workstation holds it: others may read it, but not replace or remove it
// while the handle lasts. Windows only; elsewhere an open file stops neither.

#include <chrono>
#include <string>
#include <thread>

namespace rotalis::test {

class HeldFile {
 public:
  // Opens the file with read sharing only; raises std::runtime_error when it
  // cannot.
  explicit HeldFile(const std::string& path);
  // Lets go of the file, if ReleaseAfter has not already.
  ~HeldFile();
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  // Lets go of the file `delay` from now, while the caller goes on.
  void ReleaseAfter(std::chrono::milliseconds delay);

 private:
  void* handle_;  // HANDLE
  std::jthread releaser_;
};

}  // namespace rotalis::test
