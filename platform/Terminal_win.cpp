#include "platform/Terminal.h"

#include <io.h>
#include <windows.h>

#include <cstdio>
#include <iostream>
#include <streambuf>
#include <string>

#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

bool IsConsole(DWORD stream) {
  const HANDLE handle = GetStdHandle(stream);
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return false;
  // A character device may also be a printer or NUL; only a console has a mode.
  DWORD mode = 0;
  return GetFileType(handle) == FILE_TYPE_CHAR && GetConsoleMode(handle, &mode) != 0;
}

// A console shows the bytes written to it in its own code page (850 or 1252
// on a Brazilian workstation), not as the UTF-8 the program's text is: the
// characters go over as UTF-16 instead. A character cut at the end of the
// buffer waits there for its other bytes.
class ConsoleTextBuffer : public std::streambuf {
 public:
  explicit ConsoleTextBuffer(HANDLE console) : console_(console) {
    setp(bytes_, bytes_ + sizeof bytes_);
  }

 protected:
  int_type overflow(int_type c) override {
    if (WriteWhole() != 0) return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
  }

  int sync() override { return WriteWhole(); }

 private:
  // Writes the whole characters of the buffer and keeps the bytes of a cut one.
  int WriteWhole() {
    const std::size_t size = static_cast<std::size_t>(pptr() - pbase());
    const std::size_t whole = size - CutBytes(size);
    const std::wstring text = WideFromUtf8(std::string_view(pbase(), whole));
    DWORD written = 0;
    const bool done =
        text.empty() ||
        WriteConsoleW(console_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    std::char_traits<char>::move(bytes_, pbase() + whole, size - whole);
    setp(bytes_, bytes_ + sizeof bytes_);
    pbump(static_cast<int>(size - whole));
    return done ? 0 : -1;
  }

  // How many bytes at the end start a character they do not finish.
  std::size_t CutBytes(std::size_t size) const {
    for (std::size_t back = 1; back <= 3 && back <= size; ++back) {
      const auto byte = static_cast<unsigned char>(bytes_[size - back]);
      if ((byte & 0xC0) != 0x80) {
        const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return length > back ? back : 0;
      }
    }
    return 0;
  }

  HANDLE console_;
  char bytes_[1024];
};

// The streams' own buffers come back before the runtime's last flush at exit.
class ConsoleTextStreams {
 public:
  ConsoleTextStreams()
      : out_(GetStdHandle(STD_OUTPUT_HANDLE)),
        error_(GetStdHandle(STD_ERROR_HANDLE)),
        previousOut_(std::cout.rdbuf()),
        previousError_(std::cerr.rdbuf()) {
    if (IsConsole(STD_OUTPUT_HANDLE)) {
      std::cout.flush();
      std::cout.rdbuf(&out_);
    }
    if (IsConsole(STD_ERROR_HANDLE)) {
      std::cerr.flush();
      std::cerr.rdbuf(&error_);
    }
  }
  ~ConsoleTextStreams() {
    std::cout.flush();
    std::cerr.flush();
    std::cout.rdbuf(previousOut_);
    std::cerr.rdbuf(previousError_);
  }
  ConsoleTextStreams(const ConsoleTextStreams&) = delete;
  ConsoleTextStreams& operator=(const ConsoleTextStreams&) = delete;

 private:
  ConsoleTextBuffer out_;
  ConsoleTextBuffer error_;
  std::streambuf* previousOut_;
  std::streambuf* previousError_;
};

bool IsMissing(DWORD stream) {
  const HANDLE handle = GetStdHandle(stream);
  return handle == nullptr || handle == INVALID_HANDLE_VALUE;
}

// Reopens the C runtime's stream on the console and makes it the process's
// standard handle too: the runtime only does that itself in console programs.
void ReopenOnConsole(std::FILE* stream, const wchar_t* device, const wchar_t* mode,
                     DWORD standardHandle) {
  if (_wfreopen(device, mode, stream) == nullptr) return;
  const intptr_t handle = _get_osfhandle(_fileno(stream));
  if (handle != -1) SetStdHandle(standardHandle, reinterpret_cast<HANDLE>(handle));
}

}  // namespace

bool StandardInputIsTerminal() { return IsConsole(STD_INPUT_HANDLE); }
bool StandardErrorIsTerminal() { return IsConsole(STD_ERROR_HANDLE); }

void AttachParentConsole() {
  // Whatever the starter redirected arrives as a standard handle before any
  // console exists; decided now, because attaching may fill in the rest.
  const bool inputMissing = IsMissing(STD_INPUT_HANDLE);
  const bool outputMissing = IsMissing(STD_OUTPUT_HANDLE);
  const bool errorMissing = IsMissing(STD_ERROR_HANDLE);
  if (!inputMissing && !outputMissing && !errorMissing) return;
  // Refused when this process has a console already (Wine passes the parent's
  // on even to windowed programs); the missing streams then go to that one.
  if (!AttachConsole(ATTACH_PARENT_PROCESS) && GetLastError() != ERROR_ACCESS_DENIED) return;
  if (inputMissing) {
    ReopenOnConsole(stdin, L"CONIN$", L"r", STD_INPUT_HANDLE);
    std::cin.clear();
    std::wcin.clear();
  }
  if (outputMissing) {
    ReopenOnConsole(stdout, L"CONOUT$", L"w", STD_OUTPUT_HANDLE);
    std::cout.clear();
    std::wcout.clear();
  }
  if (errorMissing) {
    ReopenOnConsole(stderr, L"CONOUT$", L"w", STD_ERROR_HANDLE);
    // Error text must not wait in a buffer for a crash to lose it.
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    std::cerr.clear();
    std::clog.clear();
    std::wcerr.clear();
    std::wclog.clear();
  }
}

void WriteConsoleTextAsCharacters() {
  // Once per process, for as long as it runs.
  static const ConsoleTextStreams streams;
}

}  // namespace rotalis::platform
