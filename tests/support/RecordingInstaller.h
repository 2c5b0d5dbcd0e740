#pragma once
// The installer the tests hand to the update step: a program that records how
// it was started and does nothing else. With ROTALIS_TEST_MARKER set it appends
//     installer <file name> <argument text> PATH=<its PATH>
// and with ROTALIS_TEST_RUNS set
//     <file name>\t<argument 1>\t...\tPATH=<its PATH>
// to the file named there. On Windows it is RecordingInstallerMain.cpp (the
// argument text exactly as given); on Linux a shell script of built-ins only,
// as the PATH it inherits holds no system folder (the arguments joined with
// one blank). A file name starting with "slow" takes 0.3 s first, to show
// that its caller waits.

#include <string>

namespace rotalis::test {

// The program file's bytes.
std::string RecordingInstallerBytes();

}  // namespace rotalis::test
