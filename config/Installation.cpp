#include "config/Installation.h"

#include "platform/Paths.h"

namespace rotalis {

Installation Installation::Current() {
  Installation here;
  here.executablePath = platform::ExecutablePath();
  here.folder = platform::FolderOf(here.executablePath);
  here.deployment = Deployment::Compiled();
  return here;
}

}  // namespace rotalis
