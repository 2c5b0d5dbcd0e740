// rotalis-crash-watcher: started by the program at its start, it waits for the
// program to crash and reports the crash (crash/CrashWatcher.h). It ends with
// the program when the program ends without crashing.

#include "crash/CrashWatcher.h"
#include "platform/ProcessControl.h"

int main() {
  using namespace rotalis;
  // The arguments as the system holds them (UTF-16 on Windows), not as the C
  // runtime's code page would have them.
  return crash::RunCrashWatcher(platform::CurrentCommandLine(), &ui::CreateCrashUi);
}
