#include "platform/ProcessControl.h"

#include <windows.h>
// After windows.h, whose types it uses.
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "platform/CommandLine_win.h"
#include "platform/ScopedHandle_win.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

struct LocalFreeDeleter {
  void operator()(wchar_t** block) const { LocalFree(block); }
};

}  // namespace

std::vector<std::string> CurrentCommandLine(int pid) {
  // Another process's command line lies in its memory; nothing needs it yet.
  if (pid != 0 && static_cast<DWORD>(pid) != GetCurrentProcessId()) return {};
  int count = 0;
  const std::unique_ptr<wchar_t*, LocalFreeDeleter> argv(
      CommandLineToArgvW(GetCommandLineW(), &count));
  if (!argv) return {};
  std::vector<std::string> arguments;
  arguments.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) arguments.push_back(Utf8FromWide(argv.get()[i]));
  return arguments;
}

void StartDetachedProcess(const std::string& path, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment) {
  const std::wstring application = WideFromUtf8(path);
  // CreateProcessW may write into the command line.
  std::wstring commandLine = QuotedCommandLine(arguments);
  std::wstring block = EnvironmentBlock(environment);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  // The program is taken as named, not looked up in PATH; no handle of this
  // process is passed on.
  if (!CreateProcessW(application.c_str(), commandLine.data(), nullptr, nullptr, FALSE,
                      CREATE_UNICODE_ENVIRONMENT, block.data(), nullptr, &startup, &started)) {
    RaiseLastError("Cannot start " + path);
  }
  // Not waited for: the handles only go.
  const ScopedHandle process(started.hProcess);
  const ScopedHandle thread(started.hThread);
}

void EndProcessNow(int status) {
  std::fflush(nullptr);
  // ExitProcess would still run the DLLs' detach code and the runtime's exit
  // handlers.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  _exit(status);
}

}  // namespace rotalis::platform
