#include "platform/Terminal.h"

#include <unistd.h>

namespace rotalis::platform {

bool StandardInputIsTerminal() { return isatty(STDIN_FILENO) == 1; }
bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

void AttachParentConsole() {}

void WriteConsoleTextAsCharacters() {}

}  // namespace rotalis::platform
