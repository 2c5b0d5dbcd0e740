#include "platform/Process.h"

#include <shellapi.h>
#include <windows.h>

#include <utility>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : process_(std::exchange(other.process_, nullptr)), exitCode_(other.exitCode_) {}

ChildProcess::~ChildProcess() {
  if (process_ != nullptr) CloseHandle(static_cast<HANDLE>(process_));
}

bool ChildProcess::WaitFor(int milliseconds) {
  if (process_ == nullptr) return true;
  // Anything but the signalled state, a failed wait included, is "still
  // running": the caller keeps serving its messages and asks again.
  if (WaitForSingleObject(static_cast<HANDLE>(process_), static_cast<DWORD>(milliseconds)) !=
      WAIT_OBJECT_0)
    return false;
  DWORD code = 0;
  exitCode_ =
      GetExitCodeProcess(static_cast<HANDLE>(process_), &code) ? static_cast<int>(code) : -1;
  CloseHandle(static_cast<HANDLE>(process_));
  process_ = nullptr;
  return true;
}

// Through the shell, as an installer started by hand would be: the argument
// text goes over as it is, the installer parses it itself.
ChildProcess StartProcess(const std::string& path, const std::string& arguments) {
  const std::wstring file = WideFromUtf8(path);
  const std::wstring parameters = WideFromUtf8(arguments);
  SHELLEXECUTEINFOW request{};
  // The structure's own size (60 bytes in a 32-bit process).
  request.cbSize = sizeof request;
  request.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_DDEWAIT;  // 0x140
  request.hwnd = GetActiveWindow();
  request.lpVerb = L"open";
  request.lpFile = file.c_str();
  request.lpParameters = parameters.c_str();
  request.lpDirectory = nullptr;
  request.nShow = SW_SHOWNORMAL;
  if (!ShellExecuteExW(&request)) throw Exception(WindowsErrorMessage(GetLastError()));
  // A start handed to a running program (DDE) gives no process to wait for.
  return ChildProcess(request.hProcess);
}

}  // namespace rotalis::platform
