#pragma once
// Text crosses the Windows API as UTF-16 (the W functions only); inside the
// program it stays UTF-8. For the _win.cpp files of this folder and ui/win32.

#include <string>
#include <string_view>

namespace rotalis::platform {

// Invalid UTF-8 becomes U+FFFD rather than failing: a path or message that
// cannot be converted should still say what it can.
std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

// The system's message text for a Windows error code (GetLastError), without
// the trailing line break; "Windows error N" when the system has none. The
// text's "%1" names `subject` (the file the failed call was about); without
// one, and for every other insert, the insert is left out.
std::string WindowsErrorMessage(unsigned long error, std::string_view subject = {});

// rotalis::Exception carrying `what` + ": " + the message of GetLastError().
[[noreturn]] void RaiseLastError(const std::string& what);

}  // namespace rotalis::platform
