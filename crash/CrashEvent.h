#pragma once
// One error that reached the crash reporter, before it is reported, and the
// facts about the application that every report names.

#include <string>
#include <vector>

#include "platform/StackTrace.h"

namespace rotalis::crash {

struct CrashEvent {
  std::string errorClass;               // demangled class, or the fault's name
  std::vector<std::string> classChain;  // for the filters; the class and its bases
  std::string message;
  std::string origin;  // where it was caught: "program body", "message loop", ...
  int processId = 0;   // the process whose addresses `stack` holds
  long threadId = 0;
  platform::StackAddresses stack;  // the crashing thread, innermost first
  bool firstFrameExact = false;    // stack[0] is the faulting instruction, not a return address
  bool canContinue = true;         // false after a fault or std::terminate
};

struct ApplicationInfo {
  std::string name;  // %appname%: the program file's name
  std::string executablePath;
  std::string folder;   // where the report file goes, with trailing separator
  std::string version;  // major.minor.release.build of the program file
  std::vector<std::string> commandLine;
  std::vector<std::string> environment;  // as the process started, for a restart

  // The running program, its folder and the environment as it is now.
  static ApplicationInfo Current();
  // The same for a program file given by path (the crash watcher describes the
  // process it watches).
  static ApplicationInfo ForExecutable(const std::string& executablePath);
};

}  // namespace rotalis::crash
