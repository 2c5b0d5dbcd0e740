#include "platform/Paths.h"

#include <unistd.h>

#include <climits>
#include <string>

#include "platform/Exception.h"

namespace rotalis::platform {

char PathSeparator() { return '/'; }

std::string ExecutablePath() {
  std::string buffer(PATH_MAX, '\0');
  const ssize_t n = readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (n <= 0) throw Exception("Cannot read the path of the running executable");
  buffer.resize(static_cast<std::size_t>(n));
  return buffer;
}

std::string ApplicationFolder() { return FolderOf(ExecutablePath()); }

std::string FolderOf(std::string_view path) {
  const auto pos = path.find_last_of('/');
  if (pos == std::string_view::npos) return {};
  return std::string(path.substr(0, pos + 1));
}

std::string WithTrailingSeparator(std::string_view folder) {
  std::string result(folder);
  if (result.empty() || result.back() != '/') result += '/';
  return result;
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  while (!name.empty() && name.front() == '/') name.remove_prefix(1);
  if (folder.empty()) return std::string(name);
  return WithTrailingSeparator(folder) + std::string(name);
}

}  // namespace rotalis::platform
