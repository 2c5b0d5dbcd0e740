#include "platform/Terminal.h"

#include <io.h>
#include <windows.h>

#include <cstdio>
#include <iostream>

namespace rotalis::platform {
namespace {

bool IsConsole(DWORD stream) {
  const HANDLE handle = GetStdHandle(stream);
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE) return false;
  // A character device may also be a printer or NUL; only a console has a mode.
  DWORD mode = 0;
  return GetFileType(handle) == FILE_TYPE_CHAR && GetConsoleMode(handle, &mode) != 0;
}

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

}  // namespace rotalis::platform
