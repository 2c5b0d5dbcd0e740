#pragma once
// What a crashed program needs to start itself again: its command line, a
// start that does not wait, and an end that runs nothing more. (The
// environment: CurrentEnvironment in ChildProcess.h.)

#include <string>
#include <vector>

namespace rotalis::platform {

// The arguments this process (or the process `pid`) was started with,
// program name first; empty when they cannot be read.
std::vector<std::string> CurrentCommandLine(int pid = 0);

// Starts `path` with `arguments` (program name first) and exactly the
// environment given; does not wait. Raises rotalis::Exception with the
// system's message when the program cannot be started.
void StartDetachedProcess(const std::string& path, const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment);

// Ends the process with that status at once: standard streams are flushed,
// nothing else runs (no destructors of statics, no exit handlers), because
// after a crash they could hang or crash again.
[[noreturn]] void EndProcessNow(int status);

}  // namespace rotalis::platform
