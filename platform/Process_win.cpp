#include "platform/Process.h"

#include <windows.h>
// After windows.h, whose types it uses.
#include <shellapi.h>

#include <utility>

#include "platform/Exception.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// The shell reports a failed start twice: as the last error and as a small
// code in hInstApp. It also tries to show an error box of its own; where that
// cannot be shown (no desktop, as for a service or under a bare test run) the
// last error names the window it could not open instead, and only hInstApp
// still says why the program did not start.
DWORD StartFailure(const SHELLEXECUTEINFOW& request) {
  const DWORD error = GetLastError();
  if (error != ERROR_SUCCESS && error != ERROR_INVALID_WINDOW_HANDLE) return error;
  switch (reinterpret_cast<INT_PTR>(request.hInstApp)) {
    case SE_ERR_FNF:
      return ERROR_FILE_NOT_FOUND;
    case SE_ERR_PNF:
      return ERROR_PATH_NOT_FOUND;
    case SE_ERR_ACCESSDENIED:
      return ERROR_ACCESS_DENIED;
    case SE_ERR_OOM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ERROR_BAD_FORMAT:
      return ERROR_BAD_FORMAT;
    case SE_ERR_SHARE:
      return ERROR_SHARING_VIOLATION;
    case SE_ERR_ASSOCINCOMPLETE:
    case SE_ERR_NOASSOC:
      return ERROR_NO_ASSOCIATION;
    case SE_ERR_DDETIMEOUT:
    case SE_ERR_DDEFAIL:
    case SE_ERR_DDEBUSY:
      return ERROR_DDE_FAIL;
    case SE_ERR_DLLNOTFOUND:
      return ERROR_DLL_NOT_FOUND;
    default:
      return error;
  }
}

}  // namespace

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
ChildProcess StartProcess(const std::string& path, const std::string& arguments,
                          ZoneCheck zoneCheck) {
  const std::wstring file = WideFromUtf8(path);
  const std::wstring parameters = WideFromUtf8(arguments);
  SHELLEXECUTEINFOW request{};
  // The structure's own size (60 bytes in a 32-bit process).
  request.cbSize = sizeof request;
  request.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_DDEWAIT;  // 0x140
  // Its box would stop a silent update on a workstation nobody watches, for
  // a file whose publisher the caller has already checked.
  if (zoneCheck == ZoneCheck::Skip) request.fMask |= SEE_MASK_NOZONECHECKS;
  request.hwnd = GetActiveWindow();
  request.lpVerb = L"open";
  request.lpFile = file.c_str();
  request.lpParameters = parameters.c_str();
  request.lpDirectory = nullptr;
  request.nShow = SW_SHOWNORMAL;
  if (!ShellExecuteExW(&request)) throw Exception(WindowsErrorMessage(StartFailure(request), path));
  // A start handed to a running program (DDE) gives no process to wait for.
  return ChildProcess(request.hProcess);
}

}  // namespace rotalis::platform
