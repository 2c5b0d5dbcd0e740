#include "platform/ResourceUsage.h"

#include <sys/resource.h>

#include <fstream>

namespace rotalis::platform {

std::uint64_t PeakResidentBytes() {
  struct rusage usage {};
  if (getrusage(RUSAGE_SELF, &usage) != 0) return 0;
  // Linux counts ru_maxrss in KiB.
  return static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

bool ResetPeakResident() {
  // Linux resets the high-water mark that ru_maxrss reports when "5" is
  // written to clear_refs; elsewhere the file does not exist.
  std::ofstream clearRefs("/proc/self/clear_refs");
  clearRefs << "5";
  clearRefs.flush();
  return static_cast<bool>(clearRefs);
}

}  // namespace rotalis::platform
