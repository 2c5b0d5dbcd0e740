#include "platform/ProcessControl.h"

#include <spawn.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

#include "platform/Exception.h"
#include "platform/FileSystem.h"

namespace rotalis::platform {
namespace {

std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

std::vector<std::string> CurrentCommandLine(int pid) {
  std::ifstream file(
      pid == 0 ? std::string("/proc/self/cmdline") : "/proc/" + std::to_string(pid) + "/cmdline",
      std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::vector<std::string> arguments;
  std::string::size_type start = 0;
  while (start < bytes.size()) {
    const auto end = bytes.find('\0', start);
    arguments.push_back(bytes.substr(start, end - start));
    if (end == std::string::npos) break;
    start = end + 1;
  }
  return arguments;
}

void StartDetachedProcess(const std::string& path, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment) {
  std::vector<char*> argv = PointersTo(arguments);
  std::vector<char*> envp = PointersTo(environment);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, path.c_str(), nullptr, nullptr, argv.data(), envp.data());
  if (error != 0) throw Exception("Cannot start " + path + ": " + SystemErrorMessage(error));
}

void EndProcessNow(int status) {
  std::fflush(nullptr);
  _exit(status);
}

}  // namespace rotalis::platform
