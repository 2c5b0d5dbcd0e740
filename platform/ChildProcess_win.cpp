#include "platform/ChildProcess.h"

#include <windows.h>

#include "platform/CommandLine_win.h"
#include "platform/Exception.h"
#include "platform/ScopedHandle_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// A handle the child inherits as one of its standard streams.
ScopedHandle OpenForChild(const std::string& path, bool write) {
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  const std::wstring name = path.empty() ? std::wstring(L"NUL") : WideFromUtf8(path);
  ScopedHandle handle(CreateFileW(name.c_str(), write ? GENERIC_WRITE : GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit,
                                  write ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                                  nullptr));
  if (!handle.valid()) RaiseLastError("Cannot open '" + path + "' for a child process");
  return handle;
}

}  // namespace

int RunChildToEnd(const ChildCommand& command) {
  const ScopedHandle input = OpenForChild(command.inputFile, false);
  const ScopedHandle output = OpenForChild(command.outputFile, true);
  const ScopedHandle error = OpenForChild(command.errorFile, true);

  std::vector<std::string> arguments{command.program};
  arguments.insert(arguments.end(), command.arguments.begin(), command.arguments.end());
  std::wstring line = QuotedCommandLine(arguments);
  std::wstring environment = EnvironmentBlock(command.environment);

  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = input.get();
  startup.hStdOutput = output.get();
  startup.hStdError = error.get();
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(WideFromUtf8(command.program).c_str(), line.data(), nullptr, nullptr, TRUE,
                      CREATE_UNICODE_ENVIRONMENT | CREATE_NO_WINDOW, environment.data(), nullptr,
                      &startup, &started))
    RaiseLastError("Cannot start " + command.program);
  const ScopedHandle process(started.hProcess);
  CloseHandle(started.hThread);
  const DWORD limit =
      command.timeLimitSeconds > 0 ? static_cast<DWORD>(command.timeLimitSeconds) * 1000 : INFINITE;
  const DWORD waited = WaitForSingleObject(process.get(), limit);
  if (waited == WAIT_TIMEOUT) {
    TerminateProcess(process.get(), kChildTimedOut);
    WaitForSingleObject(process.get(), INFINITE);
    return kChildTimedOut;
  }
  if (waited != WAIT_OBJECT_0) RaiseLastError("Cannot wait for " + command.program);
  DWORD code = 0;
  if (!GetExitCodeProcess(process.get(), &code))
    RaiseLastError("Cannot read the exit status of " + command.program);
  return static_cast<int>(code);
}

std::vector<std::string> CurrentEnvironment() {
  std::vector<std::string> entries;
  wchar_t* block = GetEnvironmentStringsW();
  if (block == nullptr) return entries;
  for (const wchar_t* entry = block; *entry != L'\0'; entry += wcslen(entry) + 1) {
    entries.push_back(Utf8FromWide(entry));
  }
  FreeEnvironmentStringsW(block);
  return entries;
}

// A file's name decides whether Windows runs it; there is no mode to set.
void MakeExecutable(const std::string&) {}

}  // namespace rotalis::platform
