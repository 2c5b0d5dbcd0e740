#include "platform/TemporaryName.h"

#include "platform/SystemInfo.h"

namespace rotalis::platform {

std::string TemporaryNameBeside(const std::string& path) {
  // Host names may carry dots, blanks or anything else the system accepts;
  // only what every file system takes is kept.
  std::string computer;
  for (const char c : ComputerName().substr(0, 63)) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_';
    computer += plain ? c : '_';
  }
  return path + ".tmp-" + computer + "-" + std::to_string(CurrentProcessId());
}

}  // namespace rotalis::platform
