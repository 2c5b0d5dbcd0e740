#include "platform/StackTrace.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <unwind.h>

#include <typeinfo>

#include "platform/RecordedThrows.h"
#include "platform/StackUnwind.h"

namespace rotalis::platform {
namespace {

struct UnwindState {
  std::uintptr_t* frames;
  std::size_t capacity;
  std::size_t count;
  std::size_t skip;
};

_Unwind_Reason_Code CollectFrame(_Unwind_Context* context, void* arg) {
  auto* state = static_cast<UnwindState*>(arg);
  const std::uintptr_t pc = _Unwind_GetIP(context);
  if (pc == 0) return _URC_END_OF_STACK;
  if (state->skip > 0) {
    --state->skip;
    return _URC_NO_REASON;
  }
  if (state->count == state->capacity) return _URC_END_OF_STACK;
  state->frames[state->count++] = pc;
  return _URC_NO_REASON;
}

using CxaThrow = void (*)(void*, std::type_info*, void (*)(void*));

CxaThrow RealCxaThrow() {
  static const CxaThrow real = reinterpret_cast<CxaThrow>(dlsym(RTLD_NEXT, "__cxa_throw"));
  return real;
}

}  // namespace

std::size_t UnwindStack(std::uintptr_t* frames, std::size_t capacity, std::size_t skip) {
  UnwindState state{frames, capacity, 0, skip + 1};
  _Unwind_Backtrace(&CollectFrame, &state);
  return state.count;
}

void PrepareStackCapture() {
  std::uintptr_t frames[4];
  UnwindStack(frames, 4, 0);
  RealCxaThrow();
}

}  // namespace rotalis::platform

// Every C++ throw of the process passes here (this definition takes the place
// of the runtime's), so the stack is recorded while the throwing function is
// still on it.
extern "C" void __cxa_throw(void* object, std::type_info* type, void (*destructor)(void*)) {
  using namespace rotalis::platform;
  recorded_throws::RecordedThrow& slot = recorded_throws::Claim(object);
  // Skips this function.
  slot.count = UnwindStack(slot.frames, kMaxStackFrames, 1);
  RealCxaThrow()(object, type, destructor);
  __builtin_unreachable();
}
