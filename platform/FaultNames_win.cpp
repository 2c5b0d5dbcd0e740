#include <windows.h>

#include <cstdio>

#include "platform/FatalSignal.h"

// The names and texts of the structured exceptions a crashed process reports,
// in the words of the system's own headers.
namespace rotalis::platform {
namespace {

struct KnownException {
  DWORD code;
  const char* name;
  const char* description;  // followed by " at address 0x..."
};

// The heap and buffer-overrun codes are raised by the system's own checks,
// not by the processor.
constexpr KnownException kKnownExceptions[] = {
    {EXCEPTION_ACCESS_VIOLATION, "EXCEPTION_ACCESS_VIOLATION", "Access violation"},
    {EXCEPTION_IN_PAGE_ERROR, "EXCEPTION_IN_PAGE_ERROR", "Page could not be read in"},
    {EXCEPTION_STACK_OVERFLOW, "EXCEPTION_STACK_OVERFLOW", "Stack overflow"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "EXCEPTION_ILLEGAL_INSTRUCTION", "Illegal instruction"},
    {EXCEPTION_PRIV_INSTRUCTION, "EXCEPTION_PRIV_INSTRUCTION", "Privileged instruction"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "EXCEPTION_INT_DIVIDE_BY_ZERO", "Integer division by zero"},
    {EXCEPTION_INT_OVERFLOW, "EXCEPTION_INT_OVERFLOW", "Integer overflow"},
    {EXCEPTION_FLT_DIVIDE_BY_ZERO, "EXCEPTION_FLT_DIVIDE_BY_ZERO",
     "Floating-point division by zero"},
    {EXCEPTION_FLT_INVALID_OPERATION, "EXCEPTION_FLT_INVALID_OPERATION",
     "Invalid floating-point operation"},
    {EXCEPTION_FLT_OVERFLOW, "EXCEPTION_FLT_OVERFLOW", "Floating-point overflow"},
    {EXCEPTION_FLT_UNDERFLOW, "EXCEPTION_FLT_UNDERFLOW", "Floating-point underflow"},
    {EXCEPTION_FLT_INEXACT_RESULT, "EXCEPTION_FLT_INEXACT_RESULT", "Inexact floating-point result"},
    {EXCEPTION_FLT_DENORMAL_OPERAND, "EXCEPTION_FLT_DENORMAL_OPERAND",
     "Denormal floating-point operand"},
    {EXCEPTION_FLT_STACK_CHECK, "EXCEPTION_FLT_STACK_CHECK", "Floating-point stack check"},
    {EXCEPTION_DATATYPE_MISALIGNMENT, "EXCEPTION_DATATYPE_MISALIGNMENT", "Misaligned data access"},
    {EXCEPTION_ARRAY_BOUNDS_EXCEEDED, "EXCEPTION_ARRAY_BOUNDS_EXCEEDED", "Array bounds exceeded"},
    {EXCEPTION_BREAKPOINT, "EXCEPTION_BREAKPOINT", "Breakpoint"},
    {EXCEPTION_SINGLE_STEP, "EXCEPTION_SINGLE_STEP", "Single step"},
    {EXCEPTION_NONCONTINUABLE_EXCEPTION, "EXCEPTION_NONCONTINUABLE_EXCEPTION",
     "Continued after a non-continuable exception"},
    {EXCEPTION_INVALID_DISPOSITION, "EXCEPTION_INVALID_DISPOSITION",
     "Exception handler returned an invalid disposition"},
    {EXCEPTION_INVALID_HANDLE, "EXCEPTION_INVALID_HANDLE", "Invalid handle"},
    {STATUS_HEAP_CORRUPTION, "STATUS_HEAP_CORRUPTION", "Heap corruption"},
    {STATUS_STACK_BUFFER_OVERRUN, "STATUS_STACK_BUFFER_OVERRUN", "Stack buffer overrun"},
};

const KnownException* Known(std::uint32_t code) {
  for (const KnownException& known : kKnownExceptions) {
    if (known.code == code) return &known;
  }
  return nullptr;
}

std::string Hex(std::uintptr_t value) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

std::string FaultName(const FatalErrorRecord& record) {
  if (const KnownException* known = Known(record.fault)) return known->name;
  char text[32];
  std::snprintf(text, sizeof text, "exception 0x%08lX", static_cast<unsigned long>(record.fault));
  return text;
}

std::string FaultDescription(const FatalErrorRecord& record) {
  // For these two the address is the one the instruction used; the handler
  // recorded how it used it.
  if (record.fault == EXCEPTION_ACCESS_VIOLATION || record.fault == EXCEPTION_IN_PAGE_ERROR) {
    const char* use = record.detail == 1 ? "writing" : record.detail == 8 ? "executing" : "reading";
    return std::string(Known(record.fault)->description) + " " + use + " address " +
           Hex(record.faultAddress);
  }
  const KnownException* known = Known(record.fault);
  return std::string(known != nullptr ? known->description : "Unknown exception") + " at address " +
         Hex(record.faultAddress);
}

std::string FaultOrigin() { return "structured exception"; }

}  // namespace rotalis::platform
