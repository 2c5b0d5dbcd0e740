#include "tests/support/TempFolder.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "platform/FileSystem.h"

namespace rotalis::test {
namespace {

// Paths are UTF-8 here; a plain string would be read in the ANSI code page on
// Windows.
std::filesystem::path FsPath(const std::string& utf8) {
  return std::filesystem::path(
      std::u8string(reinterpret_cast<const char8_t*>(utf8.data()), utf8.size()));
}

}  // namespace

std::vector<std::string> WithTemporaryFolder(std::vector<std::string> environment,
                                             const std::string& folder) {
  std::erase_if(environment, [](const std::string& entry) {
    std::string name = entry.substr(0, entry.find('='));
    for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return name == "TMPDIR" || name == "TEMP" || name == "TMP";
  });
#if defined(_WIN32)
  // Under Wine, TMPDIR is also where the Windows process looks for Wine's
  // own server: a Windows path there cuts the process off from it.
  for (const char* name : {"TEMP=", "TMP="}) environment.push_back(name + folder);
#else
  for (const char* name : {"TMPDIR=", "TEMP=", "TMP="}) environment.push_back(name + folder);
#endif
  return environment;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(FsPath(path_), ignored);
}

std::string TempFolder::Write(const std::string& relative, const std::string& bytes) const {
  const std::filesystem::path file = FsPath(path_ + relative);
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out) throw std::runtime_error("cannot write " + path_ + relative);
  return path_ + relative;
}

std::string TempFolder::Read(const std::string& relative) const {
  return platform::ReadFileBytes(path_ + relative);
}

std::unique_ptr<TempFolder> DigitFreeTempFolder(const std::string& prefix) {
  // A random folder name often has no digit; a few attempts find one.
  for (int attempt = 0; attempt < 200; ++attempt) {
    auto folder = std::make_unique<TempFolder>(prefix);
    if (folder->Path().find_first_of("0123456789") == std::string::npos) return folder;
  }
  throw std::runtime_error("no temporary folder without digits in its path");
}

std::string ReadIfPresent(const std::string& path) {
  return platform::FileExists(path) ? platform::ReadFileBytes(path) : std::string();
}

}  // namespace rotalis::test
