#include "update/FileVersionText.h"

#include <cstdio>

#include "platform/FileVersion.h"

namespace rotalis {

std::string FileVersionText(const std::string& path) {
  const auto words = platform::ReadFileVersion(path);
  if (!words) return "0.0.0.0";
  char text[64];
  std::snprintf(text, sizeof text, "%u.%02u.%u.%u", unsigned(words->ms >> 16),
                unsigned(words->ms & 0xFFFF), unsigned(words->ls >> 16),
                unsigned(words->ls & 0xFFFF));
  return text;
}

}  // namespace rotalis
