#pragma once
// The last few C++ throws of each thread, with the stack each was thrown from,
// for ThrowStackOf. Each system hooks the runtime's throw its own way; what is
// kept and how it is found again is the same everywhere. For the StackTrace_*
// files only.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>

#include "platform/StackTrace.h"

namespace rotalis::platform::recorded_throws {

// Plain data only: written from inside the runtime's throw, where nothing may
// allocate through C++ or throw again.
struct RecordedThrow {
  const void* object;
  std::size_t count;
  std::uintptr_t frames[kMaxStackFrames];
};

// A nested throw (one raised and caught while the first unwinds) must not hide
// the stack of the first, hence more than one slot.
inline constexpr std::size_t kSlots = 8;

struct Ring {
  RecordedThrow slots[kSlots];
  std::size_t next;
};

inline thread_local Ring ring{};

// The slot for a throw that is starting, now claimed by `object`; the oldest
// record gives way.
inline RecordedThrow& Claim(const void* object) {
  RecordedThrow& slot = ring.slots[ring.next];
  ring.next = (ring.next + 1) % kSlots;
  slot.object = object;
  slot.count = 0;
  return slot;
}

// libstdc++'s exception_ptr holds the address of the thrown object and nothing
// else, the address the runtime's throw was given.
inline const void* ObjectOf(const std::exception_ptr& error) {
  static_assert(sizeof(std::exception_ptr) == sizeof(void*));
  const void* object = nullptr;
  std::memcpy(&object, static_cast<const void*>(&error), sizeof object);
  return object;
}

inline StackAddresses StackOf(const std::exception_ptr& error) {
  const void* object = ObjectOf(error);
  if (object == nullptr) return {};
  // Newest first: an address can be reused by a later exception.
  for (std::size_t k = 1; k <= kSlots; ++k) {
    const RecordedThrow& slot = ring.slots[(ring.next + kSlots - k) % kSlots];
    if (slot.object == object) return StackAddresses(slot.frames, slot.frames + slot.count);
  }
  return {};
}

}  // namespace rotalis::platform::recorded_throws
