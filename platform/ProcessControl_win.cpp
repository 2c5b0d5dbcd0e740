#include "platform/ProcessControl.h"

#include <windows.h>
// After windows.h, whose types they use.
#include <shellapi.h>
#include <winternl.h>

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

template <typename Value>
bool ReadFrom(HANDLE process, const void* address, Value& value) {
  SIZE_T read = 0;
  return ReadProcessMemory(process, address, &value, sizeof value, &read) && read == sizeof value;
}

// Another process's command line lies in its memory: in its process
// parameters, which its environment block (PEB) points to. The watcher reads
// it from the crashed program, which is stopped in its fault handler.
std::wstring CommandLineOf(DWORD pid) {
  const ScopedHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid));
  if (!process.valid()) return {};
  PROCESS_BASIC_INFORMATION basic{};
  PEB peb{};
  RTL_USER_PROCESS_PARAMETERS parameters{};
  if (NtQueryInformationProcess(process.get(), ProcessBasicInformation, &basic, sizeof basic,
                                nullptr) != 0 ||
      !ReadFrom(process.get(), basic.PebBaseAddress, peb) ||
      !ReadFrom(process.get(), peb.ProcessParameters, parameters))
    return {};
  std::wstring text(parameters.CommandLine.Length / sizeof(wchar_t), L'\0');
  SIZE_T read = 0;
  if (!ReadProcessMemory(process.get(), parameters.CommandLine.Buffer, text.data(),
                         text.size() * sizeof(wchar_t), &read))
    return {};
  text.resize(read / sizeof(wchar_t));
  return text;
}

}  // namespace

std::vector<std::string> CurrentCommandLine(int pid) {
  const bool self = pid == 0 || static_cast<DWORD>(pid) == GetCurrentProcessId();
  const std::wstring line = self ? std::wstring(GetCommandLineW()) : CommandLineOf(pid);
  // An empty line would be read as this program's own name.
  if (line.empty()) return {};
  int count = 0;
  const std::unique_ptr<wchar_t*, LocalFreeDeleter> argv(CommandLineToArgvW(line.c_str(), &count));
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
