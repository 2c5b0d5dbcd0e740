#include "launcher/SearchPath.h"

#include "platform/Environment.h"
#include "platform/Paths.h"

namespace rotalis {

std::string ModuleSearchPath(const std::string& applicationFolder) {
  const char separator = platform::PathListSeparator();
  // Windows keeps the text its installers have always seen, separator after
  // every element; elsewhere a trailing separator would mean "here".
  const bool separatorAfterLast = separator == ';';
  std::string value;
  for (const char* name : {"kernel", "BPLs", "Modulos", "DLLs"}) {
    if (!value.empty() && !separatorAfterLast) value += separator;
    value += platform::JoinPath(applicationFolder, name);
    if (separatorAfterLast) value += separator;
  }
  return value;
}

std::vector<std::string> PackageSearchFolders(const std::string& applicationFolder,
                                              const std::string& searchPath) {
  std::vector<std::string> folders{platform::WithTrailingSeparator(applicationFolder)};
  const char separator = platform::PathListSeparator();
  std::size_t start = 0;
  while (start <= searchPath.size()) {
    std::size_t end = searchPath.find(separator, start);
    if (end == std::string::npos) end = searchPath.size();
    if (end > start)
      folders.push_back(platform::WithTrailingSeparator(searchPath.substr(start, end - start)));
    start = end + 1;
  }
  return folders;
}

}  // namespace rotalis
