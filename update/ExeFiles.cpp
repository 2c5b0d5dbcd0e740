#include "update/ExeFiles.h"

#include "platform/AsciiCase.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"

namespace rotalis {
namespace {

bool HasExeExtension(const std::string& name) {
  const auto dot = name.find_last_of('.');
  if (dot == std::string::npos || name.size() - dot != 4) return false;
  return platform::EqualsIgnoringAsciiCase(std::string_view(name).substr(dot), ".exe");
}

}  // namespace

void ListExeFiles(const std::string& folder, std::vector<std::string>& list) {
  const std::string prefix = platform::WithTrailingSeparator(folder);
  for (const auto& entry : platform::ListDirectory(folder))
    if (!entry.isDirectory && HasExeExtension(entry.name)) list.push_back(prefix + entry.name);
}

}  // namespace rotalis
