#include "platform/SystemInfo.h"

#include <pwd.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>

namespace rotalis::platform {
namespace {

std::string DistributionName() {
  std::ifstream file("/etc/os-release");
  std::string line;
  while (std::getline(file, line)) {
    if (line.rfind("PRETTY_NAME=", 0) != 0) continue;
    std::string value = line.substr(12);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'')) {
      value = value.substr(1, value.size() - 2);
    }
    return value;
  }
  return {};
}

}  // namespace

std::string OperatingSystemName() {
  std::string text = DistributionName();
  utsname names{};
  if (uname(&names) == 0) {
    if (!text.empty()) text += ", ";
    text += std::string(names.sysname) + " " + names.release + " " + names.machine;
  }
  return text.empty() ? "unknown" : text;
}

std::string UserName() {
  passwd entry{};
  passwd* found = nullptr;
  char buffer[4096];
  if (getpwuid_r(geteuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr) {
    return found->pw_name;
  }
  return "uid " + std::to_string(geteuid());
}

std::string ComputerName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return "unknown";
  return name;
}

int CurrentProcessId() { return static_cast<int>(getpid()); }

long CurrentThreadId() { return static_cast<long>(syscall(SYS_gettid)); }

std::string LocalDateTimeText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %z", &local);
  return text;
}

}  // namespace rotalis::platform
