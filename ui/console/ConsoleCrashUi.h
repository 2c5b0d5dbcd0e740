#pragma once
// The crash reporter's windows without a display: the same texts on the error
// stream. With a terminal on the input the user picks a button by its key;
// without one nobody can answer, so the dialog closes the application.

#include <iosfwd>
#include <memory>

#include "ui/CrashUi.h"

namespace rotalis::ui::console {

struct CrashConsoleStreams {
  std::istream& in;
  std::ostream& out;  // the error stream in the program
  bool inputIsTerminal = false;
};

// Standard input and standard error.
std::unique_ptr<CrashUi> CreateConsoleCrashUi();
std::unique_ptr<CrashUi> CreateConsoleCrashUi(CrashConsoleStreams streams);

}  // namespace rotalis::ui::console
