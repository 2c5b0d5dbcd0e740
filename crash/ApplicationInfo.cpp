#include <cstdio>

#include "crash/CrashEvent.h"
#include "platform/ChildProcess.h"
#include "platform/FileVersion.h"
#include "platform/Paths.h"
#include "platform/ProcessControl.h"

namespace rotalis::crash {
namespace {

std::string VersionText(const std::string& path) {
  const auto words = platform::ReadFileVersion(path);
  if (!words) return "0.0.0.0";
  char text[64];
  std::snprintf(text, sizeof text, "%u.%02u.%u.%u", words->ms >> 16, words->ms & 0xFFFF,
                words->ls >> 16, words->ls & 0xFFFF);
  return text;
}

}  // namespace

ApplicationInfo ApplicationInfo::ForExecutable(const std::string& executablePath) {
  ApplicationInfo info;
  info.executablePath = executablePath;
  info.folder = platform::FolderOf(executablePath);
  info.name = executablePath.substr(info.folder.size());
  if (const auto dot = info.name.rfind('.'); dot != std::string::npos && dot > 0) {
    info.name.erase(dot);
  }
  info.version = VersionText(executablePath);
  return info;
}

ApplicationInfo ApplicationInfo::Current() {
  ApplicationInfo info = ForExecutable(platform::ExecutablePath());
  info.commandLine = platform::CurrentCommandLine();
  info.environment = platform::CurrentEnvironment();
  return info;
}

}  // namespace rotalis::crash
