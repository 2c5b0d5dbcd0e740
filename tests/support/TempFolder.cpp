#include "tests/support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace rotalis::test {

TempFolder::TempFolder(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = std::string(buffer.data()) + "/";
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::Write(const std::string& relative, const std::string& bytes) const {
  const std::filesystem::path file = path_ + relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file.string();
}

std::string TempFolder::Read(const std::string& relative) const {
  std::ifstream in(path_ + relative, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path_ + relative);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

}  // namespace rotalis::test
