#include "platform/Paths.h"

#include <windows.h>

#include <string>

#include "platform/Exception.h"
#include "platform/ModuleFileName_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Windows takes both; a path the program builds itself uses the backslash.
bool IsSeparator(char c) { return c == '\\' || c == '/'; }

}  // namespace

char PathSeparator() { return '\\'; }

std::string ExecutablePath() {
  const std::wstring path = ModuleFileName(nullptr);
  if (path.empty()) throw Exception("Cannot read the path of the running executable");
  return Utf8FromWide(path);
}

std::string ApplicationFolder() { return FolderOf(ExecutablePath()); }

std::string FolderOf(std::string_view path) {
  const auto pos = path.find_last_of("\\/");
  if (pos == std::string_view::npos) return {};
  return std::string(path.substr(0, pos + 1));
}

std::string WithTrailingSeparator(std::string_view folder) {
  std::string result(folder);
  if (result.empty() || !IsSeparator(result.back())) result += '\\';
  return result;
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  while (!name.empty() && IsSeparator(name.front())) name.remove_prefix(1);
  std::string tail(name);
  for (char& c : tail)
    if (c == '/') c = '\\';
  if (folder.empty()) return tail;
  return WithTrailingSeparator(folder) + tail;
}

}  // namespace rotalis::platform
