#include "platform/WideText_win.h"

#include <windows.h>

#include <string_view>

#include "platform/Exception.h"

namespace rotalis::platform {

std::wstring WideFromUtf8(std::string_view text) {
  if (text.empty()) return {};
  const int size =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

std::string Utf8FromWide(std::wstring_view text) {
  if (text.empty()) return {};
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                       nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), utf8.data(), size,
                      nullptr, nullptr);
  return utf8;
}

namespace {

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// The system's texts carry inserts ("Bad EXE format for %1.") that the caller
// fills; read without arguments they would come out raw. "%1" becomes the
// subject where one is known; any other insert goes, with the blank before it
// when one stands before a punctuation mark or the end. The escapes the
// message compiler defines are resolved as FormatMessage resolves them.
std::wstring FillInserts(const std::wstring& text, const std::wstring& subject) {
  std::wstring filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != L'%' || i + 1 == text.size()) {
      filled += text[i];
      continue;
    }
    const wchar_t next = text[++i];
    if (IsDigit(next) && next != L'0') {
      std::size_t end = i + 1;
      if (end < text.size() && IsDigit(text[end])) ++end;
      const bool first = end == i + 1 && next == L'1';
      // A printf form ("%1!d!") belongs to the insert.
      if (end < text.size() && text[end] == L'!') {
        const std::size_t close = text.find(L'!', end + 1);
        if (close != std::wstring::npos) end = close + 1;
      }
      i = end - 1;
      if (first && !subject.empty()) {
        filled += subject;
      } else {
        const bool closes = end == text.size() ||
                            std::wstring_view(L".,;:)").find(text[end]) != std::wstring_view::npos;
        if (closes && !filled.empty() && filled.back() == L' ') filled.pop_back();
        if (filled.empty() || filled.back() == L' ')
          while (i + 1 < text.size() && text[i + 1] == L' ') ++i;
      }
    } else if (next == L'0') {
      break;  // the text ends here, without a line break
    } else if (next == L'n') {
      filled += L"\r\n";
    } else if (next == L'r') {
      filled += L'\r';
    } else if (next == L't') {
      filled += L'\t';
    } else if (next == L'b') {
      filled += L' ';
    } else {
      filled += next;  // "%%", "%.", "%!" and the like stand for the character
    }
  }
  return filled;
}

}  // namespace

std::string WindowsErrorMessage(unsigned long error, std::string_view subject) {
  wchar_t* buffer = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
  if (length == 0 || buffer == nullptr) return "Windows error " + std::to_string(error);
  std::wstring message = FillInserts(std::wstring(buffer, length), WideFromUtf8(subject));
  LocalFree(buffer);
  while (!message.empty() && (message.back() == L'\n' || message.back() == L'\r' ||
                              message.back() == L' ' || message.back() == L'.'))
    message.pop_back();
  return Utf8FromWide(message);
}

void RaiseLastError(const std::string& what) {
  throw Exception(what + ": " + WindowsErrorMessage(GetLastError()));
}

}  // namespace rotalis::platform
