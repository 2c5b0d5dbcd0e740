#pragma once
// The cause of a crash in a few characters, the same on every workstation
// and after a rebuild: the error's class and the functions on the crashing
// thread's stack, by module and name, without addresses or line numbers. The
// tracker groups the reports of one cause by it.

#include <string>
#include <vector>

#include "platform/Symbolizer.h"

namespace rotalis::crash {

// "crash-" and 16 hexadecimal digits: one word for a text search, never a
// number (a tracker takes a number for an issue id). Empty when no frame of
// the stack has a name.
std::string CrashSignatureOf(const std::string& errorClass,
                             const std::vector<platform::StackFrame>& stack);

}  // namespace rotalis::crash
