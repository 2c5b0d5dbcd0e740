#pragma once
// Whether the standard streams are attached to a terminal (a person typing and
// reading) rather than to a file or a pipe.

namespace rotalis::platform {

bool StandardInputIsTerminal();
bool StandardErrorIsTerminal();

}  // namespace rotalis::platform
