#pragma once
// Runs a program to its end with its standard streams tied to files, the way
// a test or a script runs a command and then reads what it printed.

#include <string>
#include <vector>

namespace rotalis::platform {

struct ChildCommand {
  std::string program;                   // full path
  std::vector<std::string> arguments;    // after the program name
  std::vector<std::string> environment;  // "NAME=value", the whole environment
  std::string inputFile;                 // standard input; empty: the null device
  std::string outputFile;                // standard output goes here (replaced)
  std::string errorFile;                 // standard error goes here (replaced)
  int timeLimitSeconds = 0;              // 0: none; see kChildTimedOut
};

// What RunChildToEnd answers for a child it killed because it ran past its
// time limit (as timeout(1) does).
inline constexpr int kChildTimedOut = 124;

// The child's exit status, or 128 + the signal number that ended it. Raises
// rotalis::Exception when the program cannot be started.
int RunChildToEnd(const ChildCommand& command);

// This process's environment as "NAME=value" entries.
std::vector<std::string> CurrentEnvironment();

// Adds the execute permission for everyone who may read the file.
void MakeExecutable(const std::string& path);

}  // namespace rotalis::platform
