// The recording installer of the Windows tests (see RecordingInstaller.h), the
// arguments split the way Windows programs split them.

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/AsciiCase.h"
#include "platform/Environment.h"
#include "platform/Paths.h"
#include "platform/ProcessControl.h"
#include "platform/WideText_win.h"

namespace {

// The argument text exactly as its starter gave it: what follows the program
// name and the one blank the shell puts after it. Blanks of the text itself,
// leading and trailing ones included, are kept.
std::wstring ArgumentText() {
  const wchar_t* line = GetCommandLineW();
  if (*line == L'"') {
    ++line;
    while (*line != L'\0' && *line != L'"') ++line;
    if (*line == L'"') ++line;
  } else {
    while (*line != L'\0' && *line != L' ' && *line != L'\t') ++line;
  }
  if (*line == L' ' || *line == L'\t') ++line;
  return line;
}

// Arguments only, as Windows programs split them; the first entry is the program.
std::string TabbedArguments() {
  const std::vector<std::string> arguments = rotalis::platform::CurrentCommandLine();
  std::string text;
  for (std::size_t i = 1; i < arguments.size(); ++i) text += "\t" + arguments[i];
  return text;
}

bool Append(const std::string& file, const std::string& line) {
  const HANDLE handle = CreateFileW(rotalis::platform::WideFromUtf8(file).c_str(), FILE_APPEND_DATA,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool done =
      WriteFile(handle, line.data(), static_cast<DWORD>(line.size()), &written, nullptr) &&
      written == line.size();
  CloseHandle(handle);
  return done;
}

}  // namespace

int main() {
  using namespace rotalis::platform;
  const std::string program = ExecutablePath();
  const std::string name = program.substr(FolderOf(program).size());
  if (AsciiLowered(name).rfind("slow", 0) == 0) Sleep(300);

  const std::string path = GetEnvironment("PATH").value_or("");
  const std::optional<std::string> marker = GetEnvironment("ROTALIS_TEST_MARKER");
  const std::optional<std::string> runs = GetEnvironment("ROTALIS_TEST_RUNS");
  bool ok = true;
  if (marker) {
    ok = Append(*marker, "installer " + name + " " + Utf8FromWide(ArgumentText()) +
                             " PATH=" + path + "\n") &&
         ok;
  }
  if (runs) ok = Append(*runs, name + TabbedArguments() + "\tPATH=" + path + "\n") && ok;
  return ok ? 0 : 1;
}
