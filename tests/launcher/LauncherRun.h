#pragma once
// An application folder with a blank in its name ("App X") holding a copy of
// the real launcher binary, into which a test puts module packages before it
// runs the launcher without a display.

#include <string>

#include "tests/support/TempFolder.h"

namespace rotalis::test {

struct LauncherRun {
  int exitStatus = -1;
  std::string output;  // standard output
  std::string errors;  // standard error
  std::string marker;  // what the test packages wrote (see packages/test_package.c)
};

class LauncherFolder {
 public:
  LauncherFolder();

  // The application folder, with trailing separator.
  const std::string& Folder() const { return folder_; }

  // Copies the test package `variant` ("standard", "lowercase", "othername",
  // "newcontract", "shortspec", or "sample" for the sample package) into the folder below
  // the application folder ("" for the application folder itself).
  void PutPackage(const std::string& variant, const std::string& subfolder);

  // Runs the launcher with `input` as standard input, PATH set to an
  // unrelated value beforehand.
  LauncherRun Run(const std::string& input = "") const;

 private:
  TempFolder temp_;
  std::string folder_;
};

}  // namespace rotalis::test
