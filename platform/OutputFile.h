#pragma once
// A file written front to back as data arrives (a download's body).

#include <cstddef>
#include <string>

namespace rotalis::platform {

class OutputFile {
 public:
  // Creates the file, or empties it when it exists; raises rotalis::Exception
  // with the system's message when that is impossible. An executable file (a
  // downloaded program) may be started by its owner, as far as the system's
  // file-creation mask allows.
  explicit OutputFile(const std::string& path, bool executable = false);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Appends the bytes; raises rotalis::Exception with the system's message.
  void Write(const char* data, std::size_t size);

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
  int fd_ = -1;
};

}  // namespace rotalis::platform
