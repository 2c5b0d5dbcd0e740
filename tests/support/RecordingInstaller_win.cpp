#include "tests/support/RecordingInstaller.h"

#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"

namespace rotalis::test {

// Built in the build folder, whose path is compiled in as a host path.
std::string RecordingInstallerBytes() {
  return platform::ReadFileBytes(LocalPath(ROTALIS_RECORDING_INSTALLER));
}

}  // namespace rotalis::test
