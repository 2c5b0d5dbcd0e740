#pragma once
// The program's posted tasks wait while the crash reporter's windows are
// open. Those windows run Qt's event loop (to paint, and modally), and a task
// of the program that fails again there would be reported as a crash of its
// own from inside the report of the first, with a stack through the crash
// reporter. The Windows backend runs posted tasks only in the program's own
// loop and so behaves the same way by construction.

#include <functional>

class QObject;

namespace rotalis::ui::qt {

// Posts `task` to run in `context`'s thread once its loop gets to it, unless
// tasks are held then: it then runs after the last hold ends, in the order
// the held tasks came up.
void PostProgramTask(QObject* context, std::function<void()> task);

// Holds the program's tasks on this thread for its lifetime; holds nest.
class ProgramTasksHeld {
 public:
  ProgramTasksHeld();
  ~ProgramTasksHeld();
  ProgramTasksHeld(const ProgramTasksHeld&) = delete;
  ProgramTasksHeld& operator=(const ProgramTasksHeld&) = delete;
};

}  // namespace rotalis::ui::qt
