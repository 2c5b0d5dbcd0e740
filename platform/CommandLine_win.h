#pragma once
// What CreateProcessW takes: one command line and one environment block.
// For the _win.cpp files of this folder only.

#include <string>
#include <vector>

namespace rotalis::platform {

// The arguments (program name first) as one UTF-16 command line that the
// C runtime's argument parsing (CommandLineToArgvW) splits back into exactly
// these arguments.
std::wstring QuotedCommandLine(const std::vector<std::string>& arguments);

// "NAME=value" entries as a UTF-16 environment block: sorted by name without
// regard to case, as Windows keeps it, each entry ended by a zero and the
// block by another.
std::wstring EnvironmentBlock(const std::vector<std::string>& entries);

}  // namespace rotalis::platform
