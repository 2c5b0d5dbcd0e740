#pragma once
// The Windows tests' installer (RecordingInstallerMain.cpp): a program that
// records how it was started, for the update step to download and run.

#include <string>

namespace rotalis::test {

// The program file's bytes. Windows only.
std::string RecordingInstallerBytes();

}  // namespace rotalis::test
