#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "tests/support/TempFolder.h"

namespace rotalis::test {

TempFolder::TempFolder(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
  std::vector<char> buffer(pattern.begin(), pattern.end());
  buffer.push_back('\0');
  if (mkdtemp(buffer.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = std::string(buffer.data()) + "/";
}

}  // namespace rotalis::test
