#include "platform/ResourceUsage.h"

#include <windows.h>
// After windows.h, whose types it uses.
#include <psapi.h>

namespace rotalis::platform {

std::uint64_t PeakResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) return 0;
  return counters.PeakWorkingSetSize;
}

// The system keeps the peak working set for the life of the process and offers
// no way to start it again.
bool ResetPeakResident() { return false; }

}  // namespace rotalis::platform
