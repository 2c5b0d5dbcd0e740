#include "platform/CommandLine_win.h"

#include <windows.h>

#include <algorithm>

#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// Backslashes are literal except before a quote, where they escape; so a run
// of them is doubled when a quote (the argument's own or the closing one)
// follows.
void AppendQuoted(std::wstring& line, const std::wstring& argument) {
  if (!argument.empty() && argument.find_first_of(L" \t\n\v\"") == std::wstring::npos) {
    line += argument;
    return;
  }
  line += L'"';
  std::size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'\\') {
      ++backslashes;
      continue;
    }
    if (c == L'"') {
      line.append(backslashes * 2 + 1, L'\\');
    } else {
      line.append(backslashes, L'\\');
    }
    backslashes = 0;
    line += c;
  }
  line.append(backslashes * 2, L'\\');
  line += L'"';
}

}  // namespace

std::wstring QuotedCommandLine(const std::vector<std::string>& arguments) {
  std::wstring line;
  for (const auto& argument : arguments) {
    if (!line.empty()) line += L' ';
    AppendQuoted(line, WideFromUtf8(argument));
  }
  return line;
}

std::wstring EnvironmentBlock(const std::vector<std::string>& entries) {
  std::vector<std::wstring> wide;
  for (const auto& entry : entries) wide.push_back(WideFromUtf8(entry));
  const auto nameOf = [](const std::wstring& entry) {
    // A leading '=' belongs to the name ("=C:=C:\\work").
    return entry.substr(0, entry.find(L'=', 1));
  };
  std::stable_sort(wide.begin(), wide.end(), [&](const std::wstring& a, const std::wstring& b) {
    return CompareStringOrdinal(nameOf(a).c_str(), -1, nameOf(b).c_str(), -1, TRUE) ==
           CSTR_LESS_THAN;
  });
  std::wstring block;
  for (const auto& entry : wide) {
    block += entry;
    block += L'\0';
  }
  block += L'\0';
  if (wide.empty()) block += L'\0';
  return block;
}

}  // namespace rotalis::platform
