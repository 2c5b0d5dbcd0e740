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
  // file-creation mask allows. With `append` an existing file keeps its bytes
  // and the new ones follow them (a download resumed where it stopped).
  explicit OutputFile(const std::string& path, bool executable = false, bool append = false);
  // Writes what is still buffered, as far as it goes, then closes the file.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Appends the bytes. They are collected into large writes, so a failure may
  // surface at a later Write or at Flush; raises rotalis::Exception with the
  // system's message.
  void Write(const char* data, std::size_t size);
  // Writes everything buffered; raises like Write.
  void Flush();

  const std::string& Path() const { return path_; }

 private:
  // Network pieces arrive in a few kilobytes each; one system call per
  // megabyte keeps a large download as fast as the network allows.
  static constexpr std::size_t kBufferSize = 1 << 20;

  void WriteThrough(const char* data, std::size_t size);

  std::string path_;
#if defined(_WIN32)
  void* file_ = nullptr;  // HANDLE
#else
  int file_ = -1;
#endif
  std::string buffer_;
};

}  // namespace rotalis::platform
