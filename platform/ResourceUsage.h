#pragma once
// What this process has used of the machine, for the benchmarks.

#include <cstdint>

namespace rotalis::platform {

// The most resident memory this process has held, in bytes, since it started
// or since the last ResetPeakResident that succeeded.
std::uint64_t PeakResidentBytes();

// Starts a new peak where the platform allows it, so that one phase of a
// program can be measured after another; false where it does not (the peak
// then keeps counting from the start).
bool ResetPeakResident();

}  // namespace rotalis::platform
