#include "platform/FatalSignal.h"

#include <windows.h>

#include <atomic>
#include <cstring>
#include <memory>

#include "platform/CommandLine_win.h"
#include "platform/Exception.h"
#include "platform/ScopedHandle_win.h"
#include "platform/WatcherChannel_win.h"
#include "platform/WideText_win.h"

// The program's side of the crash watcher on Windows. Structured exceptions
// that nothing handles end in the process-wide filter, from every thread and
// every module; a stack overflow is taken first by a vectored handler, since
// under Wine the search for a handler that leads to the filter overflows
// again and kills the process unreported. (Wine raises the overflow with less
// than 2 KB of stack left, SetThreadStackGuarantee or not.) So the faulting
// thread does next to nothing itself: it hands the exception to a reporting
// thread started with the watcher, which walks the faulting thread's stack,
// fills the record the watcher maps, and waits for the watcher.
namespace rotalis::platform {
namespace {

// libgcc raises C++ exceptions as structured exceptions with these codes
// ("GCC" and a kind); one nobody catches comes back to libgcc, which then
// calls std::terminate, when the runtime's filter lets it continue.
constexpr DWORD kGccExceptionMask = 0x20FFFFFF;
constexpr DWORD kGccExceptionCode = 0x20474343;
// abort()'s status, for an error handed over by std::terminate.
constexpr UINT kTerminateStatus = 3;

// Set once by InstallFatalSignalWatcher, before any handler can run.
FatalErrorRecord* sharedRecord = nullptr;
HANDLE crashedEvent = nullptr;
HANDLE doneEvent = nullptr;
HANDLE watcherProcess = nullptr;
HANDLE reportingThread = nullptr;
DWORD reportingThreadId = 0;
HANDLE faultRaised = nullptr;
LPTOP_LEVEL_EXCEPTION_FILTER runtimeFilter = nullptr;

// The thread being reported, and what the reporting thread needs of it.
std::atomic<DWORD> crashingThread{0};
std::atomic<EXCEPTION_POINTERS*> pendingFault{nullptr};
std::atomic<ULONG_PTR> faultStackLow{0};
std::atomic<ULONG_PTR> faultStackHigh{0};

// Lets the watcher do its work, then ends the process.
[[noreturn]] void HandToWatcherAndEnd(UINT status) {
  SetEvent(crashedEvent);
  // The watcher answers when it is done with this process, or dies.
  const HANDLE answers[] = {doneEvent, watcherProcess};
  WaitForMultipleObjects(2, answers, FALSE, INFINITE);
  TerminateProcess(GetCurrentProcess(), status);
  for (;;) Sleep(INFINITE);
}

// Returns when this thread is the one to report; a thread that faults while
// another is being reported waits for the process to end with it.
void ClaimCrash(UINT statusIfAgain) {
  const DWORD self = GetCurrentThreadId();
  DWORD expected = 0;
  if (crashingThread.compare_exchange_strong(expected, self)) return;
  // A fault while this thread's own report is under way would wait for
  // itself: the process ends unreported instead.
  if (expected == self || self == reportingThreadId) {
    TerminateProcess(GetCurrentProcess(), statusIfAgain);
  }
  for (;;) Sleep(INFINITE);
}

// Return addresses from the exception's context outwards, read through the
// unwind tables every x64 module carries; a frame without one is a leaf
// function, whose return address is where the call left it.
std::uint32_t WalkStack(CONTEXT context, ULONG_PTR low, ULONG_PTR high, std::uintptr_t* frames) {
  std::uint32_t count = 0;
  while (count < kMaxStackFrames && context.Rip != 0) {
    frames[count++] = static_cast<std::uintptr_t>(context.Rip);
    const DWORD64 previousRsp = context.Rsp;
    DWORD64 imageBase = 0;
    PRUNTIME_FUNCTION function = RtlLookupFunctionEntry(context.Rip, &imageBase, nullptr);
    if (function == nullptr) {
      if (context.Rsp < low || context.Rsp + sizeof(DWORD64) > high) break;
      context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
      context.Rsp += sizeof(DWORD64);
    } else {
      void* handlerData = nullptr;
      DWORD64 establisherFrame = 0;
      RtlVirtualUnwind(UNW_FLAG_NHANDLER, imageBase, context.Rip, function, &context, &handlerData,
                       &establisherFrame, nullptr);
    }
    // Past the thread's stack, or not moving outwards: what follows is not a stack.
    if (context.Rsp <= previousRsp || context.Rsp >= high) break;
  }
  return count;
}

// Started before the handlers are installed; `raised` is faultRaised, the
// rest is set by then.
DWORD WINAPI ReportFaults(void* raised) {
  WaitForSingleObject(static_cast<HANDLE>(raised), INFINITE);
  const EXCEPTION_POINTERS& fault = *pendingFault.load();
  const EXCEPTION_RECORD& exception = *fault.ExceptionRecord;
  FatalErrorRecord& record = *sharedRecord;
  record.fault = exception.ExceptionCode;
  record.faultAddress = reinterpret_cast<std::uintptr_t>(exception.ExceptionAddress);
  if ((exception.ExceptionCode == EXCEPTION_ACCESS_VIOLATION ||
       exception.ExceptionCode == EXCEPTION_IN_PAGE_ERROR) &&
      exception.NumberParameters >= 2) {
    record.detail = static_cast<std::int64_t>(exception.ExceptionInformation[0]);
    record.faultAddress = static_cast<std::uintptr_t>(exception.ExceptionInformation[1]);
  }
  record.pid = static_cast<int>(GetCurrentProcessId());
  record.threadId = static_cast<long>(crashingThread.load());
  record.frameCount =
      WalkStack(*fault.ContextRecord, faultStackLow.load(), faultStackHigh.load(), record.frames);
  HandToWatcherAndEnd(exception.ExceptionCode);
}

// The calling thread's information block. NtCurrentTeb() reads the same
// word, but GCC 12 takes its %gs-relative read for an access out of bounds.
const NT_TIB* ThreadInformationBlock() {
  NT_TIB* block = nullptr;
  asm("movq %%gs:0x30, %0" : "=r"(block));
  return block;
}

// The calling thread's whole stack: its base from the thread information
// block, its bottom the start of the reservation a stack address lies in, not
// the committed limit, which a deep stack has moved. (GetCurrentThreadStackLimits
// says the same, but importing it keeps the program from starting on the older
// Windows it supports.)
void CurrentStackBounds(ULONG_PTR& low, ULONG_PTR& high) {
  const NT_TIB* block = ThreadInformationBlock();
  high = reinterpret_cast<ULONG_PTR>(block->StackBase);
  MEMORY_BASIC_INFORMATION region{};
  low = VirtualQuery(&region, &region, sizeof region) != 0
            ? reinterpret_cast<ULONG_PTR>(region.AllocationBase)
            : reinterpret_cast<ULONG_PTR>(block->StackLimit);
}

// Little stack, no allocation, no lock: everything else is the reporting
// thread's.
[[noreturn]] void ReportFault(EXCEPTION_POINTERS* fault) {
  const UINT status = fault->ExceptionRecord->ExceptionCode;
  ClaimCrash(status);
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  CurrentStackBounds(low, high);
  faultStackLow = low;
  faultStackHigh = high;
  pendingFault = fault;
  SetEvent(faultRaised);
  // Returns only when the reporting thread ended without ending the process.
  WaitForSingleObject(reportingThread, INFINITE);
  TerminateProcess(GetCurrentProcess(), status);
  for (;;) Sleep(INFINITE);
}

LONG WINAPI OnUnhandledException(EXCEPTION_POINTERS* fault) {
  const EXCEPTION_RECORD& exception = *fault->ExceptionRecord;
  if ((exception.ExceptionCode & kGccExceptionMask) == kGccExceptionCode) {
    if (runtimeFilter != nullptr) return runtimeFilter(fault);
    return (exception.ExceptionFlags & EXCEPTION_NONCONTINUABLE) != 0
               ? EXCEPTION_CONTINUE_SEARCH
               : EXCEPTION_CONTINUE_EXECUTION;
  }
  ReportFault(fault);
}

// Every exception passes here before any frame's handler: only a stack
// overflow is taken, which nothing can sensibly recover from.
LONG WINAPI OnAnyException(EXCEPTION_POINTERS* fault) {
  if (fault->ExceptionRecord->ExceptionCode != EXCEPTION_STACK_OVERFLOW)
    return EXCEPTION_CONTINUE_SEARCH;
  ReportFault(fault);
}

// A handle the watcher inherits; taken back from later children once the
// watcher runs.
void Inheritable(HANDLE handle, bool inherit) {
  SetHandleInformation(handle, HANDLE_FLAG_INHERIT, inherit ? HANDLE_FLAG_INHERIT : 0);
}

struct ViewUnmapper {
  void operator()(void* view) const { UnmapViewOfFile(view); }
};

HANDLE Checked(HANDLE handle, const char* what) {
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
    RaiseLastError(std::string("Cannot create the crash watcher's ") + what);
  return handle;
}

// The standard handles the watcher writes to (its console dialog), where this
// process may pass them on.
HANDLE PassedOn(DWORD which) {
  const HANDLE handle = GetStdHandle(which);
  DWORD flags = 0;
  if (handle == nullptr || handle == INVALID_HANDLE_VALUE ||
      !GetHandleInformation(handle, &flags) || (flags & HANDLE_FLAG_INHERIT) == 0)
    return nullptr;
  return handle;
}

}  // namespace

void InstallFatalSignalWatcher(const std::string& helperPath,
                               const std::vector<std::string>& arguments) {
  const HANDLE process = GetCurrentProcess();
  ScopedHandle mapping(Checked(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  sizeof(FatalErrorRecord), nullptr),
                               "record"));
  std::unique_ptr<void, ViewUnmapper> view(
      MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, sizeof(FatalErrorRecord)));
  if (!view) RaiseLastError("Cannot map the crash watcher's record");
  ScopedHandle crashed(Checked(CreateEventW(nullptr, TRUE, FALSE, nullptr), "event"));
  ScopedHandle done(Checked(CreateEventW(nullptr, TRUE, FALSE, nullptr), "event"));
  ScopedHandle raised(Checked(CreateEventW(nullptr, TRUE, FALSE, nullptr), "event"));
  HANDLE duplicate = nullptr;
  if (!DuplicateHandle(process, process, process, &duplicate, SYNCHRONIZE, FALSE, 0))
    RaiseLastError("Cannot pass this process on to the crash watcher");
  // The watcher's copy is the one that counts.
  const ScopedHandle program(duplicate);

  const WatcherChannelHandles channel{mapping.get(), crashed.get(), done.get(), program.get()};
  std::vector<std::string> command = arguments;
  command.push_back(kWatcherChannelOption);
  command.push_back(WatcherChannelText(channel));
  std::wstring commandLine = QuotedCommandLine(command);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = PassedOn(STD_INPUT_HANDLE);
  startup.hStdOutput = PassedOn(STD_OUTPUT_HANDLE);
  startup.hStdError = PassedOn(STD_ERROR_HANDLE);
  PROCESS_INFORMATION started{};
  // Called first thing in the program: the only other inheritable handles are
  // the ones the program was given itself. No console window of its own:
  // the watcher's dialog is a window, or text on the standard handles.
  const HANDLE passed[] = {channel.record, channel.crashed, channel.done, channel.program};
  for (HANDLE handle : passed) Inheritable(handle, true);
  const BOOL ok =
      CreateProcessW(WideFromUtf8(helperPath).c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                     CREATE_NO_WINDOW, nullptr, nullptr, &startup, &started);
  const DWORD error = GetLastError();
  for (HANDLE handle : passed) Inheritable(handle, false);
  if (!ok) {
    SetLastError(error);
    RaiseLastError("Cannot start the crash watcher " + helperPath);
  }
  CloseHandle(started.hThread);
  ScopedHandle watcher(started.hProcess);
  DWORD threadId = 0;
  ScopedHandle thread(
      Checked(CreateThread(nullptr, 0, &ReportFaults, raised.get(), 0, &threadId), "thread"));

  // From here on nothing fails; all of it stays until the process ends.
  sharedRecord = static_cast<FatalErrorRecord*>(view.release());
  mapping.release();
  crashedEvent = crashed.release();
  doneEvent = done.release();
  faultRaised = raised.release();
  watcherProcess = watcher.release();
  reportingThread = thread.release();
  reportingThreadId = threadId;
  PrepareStackCapture();
  AddVectoredExceptionHandler(1, &OnAnyException);
  runtimeFilter = SetUnhandledExceptionFilter(&OnUnhandledException);
}

void HandOverFatalError(const FatalErrorRecord& record) {
  if (sharedRecord == nullptr) TerminateProcess(GetCurrentProcess(), kTerminateStatus);
  ClaimCrash(kTerminateStatus);
  std::memcpy(static_cast<void*>(sharedRecord), &record, sizeof record);
  HandToWatcherAndEnd(kTerminateStatus);
}

}  // namespace rotalis::platform
