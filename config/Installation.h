#pragma once
// The launcher's place on disk and its deployment constants: what every step
// of the start-up needs to know about "here". Tests build one for a temporary
// folder; the program body uses Current().

#include <string>

#include "config/Deployment.h"

namespace rotalis {

struct Installation {
  std::string executablePath;  // the running launcher (its file version counts)
  std::string folder;          // application folder, with trailing separator
  Deployment deployment;

  static Installation Current();
};

}  // namespace rotalis
