#include "platform/TextCollation.h"

#include <windows.h>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {

int CompareTextIgnoringCase(std::string_view a, std::string_view b) {
  const std::wstring wideA = WideFromUtf8(a);
  const std::wstring wideB = WideFromUtf8(b);
  const int result = CompareStringEx(LOCALE_NAME_USER_DEFAULT, NORM_IGNORECASE, wideA.c_str(),
                                     static_cast<int>(wideA.size()), wideB.c_str(),
                                     static_cast<int>(wideB.size()), nullptr, nullptr, 0);
  if (result == 0)
    RaiseLastError("Cannot compare \"" + std::string(a) + "\" with \"" + std::string(b) + "\"");
  return result - CSTR_EQUAL;
}

}  // namespace rotalis::platform
