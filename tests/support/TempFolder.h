#pragma once
// A fresh folder under the system's temporary folder, removed with everything
// in it when the object goes.

#include <memory>
#include <string>
#include <vector>

namespace rotalis::test {

class TempFolder {
 public:
  explicit TempFolder(const std::string& prefix = "rotalis-test");
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // The folder, with trailing separator.
  const std::string& Path() const { return path_; }
  // Path() + relative.
  std::string operator/(const std::string& relative) const { return path_ + relative; }

  // Writes a file below the folder (creating its parents) and returns its path.
  std::string Write(const std::string& relative, const std::string& bytes) const;
  std::string Read(const std::string& relative) const;

 private:
  std::string path_;
};

// A TempFolder whose path holds no digit, for paths the product reads numbers
// from (installer numbers are read from the whole path).
std::unique_ptr<TempFolder> DigitFreeTempFolder(const std::string& prefix);

// The bytes of a file, empty when there is none (yet): what a server or child
// program writes as it goes.
std::string ReadIfPresent(const std::string& path);

// `environment` ("NAME=value" entries) for a program whose temporary folder
// is to be `folder`: TMPDIR on POSIX systems, TEMP and TMP as Windows reads
// them.
std::vector<std::string> WithTemporaryFolder(std::vector<std::string> environment,
                                             const std::string& folder);

}  // namespace rotalis::test
