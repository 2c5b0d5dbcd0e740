// The installer the Windows tests hand to the update step: it records how it
// was started and does nothing else. The Linux tests use shell scripts.
//
// With ROTALIS_TEST_MARKER set it appends
//     installer <file name> <argument text as given> PATH=<PATH>
// and with ROTALIS_TEST_RUNS set
//     <file name>\t<argument 1>\t...\tPATH=<PATH>
// (arguments split the way Windows programs split them). A file name starting
// with "slow" takes 0.3 s first, to show that its caller waits.

#include <windows.h>
// shellapi.h needs windows.h first.
#include <shellapi.h>

#include <cwctype>
#include <string>

namespace {

std::string Utf8(const std::wstring& text) {
  if (text.empty()) return std::string();
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size,
                      nullptr, nullptr);
  return out;
}

std::wstring Variable(const wchar_t* name, bool* present = nullptr) {
  const DWORD size = GetEnvironmentVariableW(name, nullptr, 0);
  if (present != nullptr) *present = size != 0;
  if (size == 0) return std::wstring();
  std::wstring value(size, L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), size));
  return value;
}

std::wstring FileName() {
  wchar_t path[32768];
  const DWORD length = GetModuleFileNameW(nullptr, path, 32768);
  std::wstring full(path, length);
  return full.substr(full.find_last_of(L"\\/") + 1);
}

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

// Arguments only; the first entry CommandLineToArgvW gives is the program.
std::wstring TabbedArguments() {
  int count = 0;
  LPWSTR* arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  std::wstring text;
  for (int i = 1; arguments != nullptr && i < count; ++i)
    text += L"\t" + std::wstring(arguments[i]);
  LocalFree(arguments);
  return text;
}

bool Append(const std::wstring& file, const std::string& line) {
  const HANDLE handle =
      CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
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
  const std::wstring name = FileName();
  std::wstring lower = name;
  for (auto& c : lower) c = static_cast<wchar_t>(std::towlower(c));
  if (lower.rfind(L"slow", 0) == 0) Sleep(300);

  const std::string path = Utf8(Variable(L"PATH"));
  bool marked = false;
  bool counted = false;
  const std::wstring marker = Variable(L"ROTALIS_TEST_MARKER", &marked);
  const std::wstring runs = Variable(L"ROTALIS_TEST_RUNS", &counted);
  bool ok = true;
  if (marked) {
    ok = Append(marker,
                "installer " + Utf8(name) + " " + Utf8(ArgumentText()) + " PATH=" + path + "\n") &&
         ok;
  }
  if (counted) ok = Append(runs, Utf8(name + TabbedArguments()) + "\tPATH=" + path + "\n") && ok;
  return ok ? 0 : 1;
}
