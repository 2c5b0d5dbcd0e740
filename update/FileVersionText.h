#pragma once
// The version a program file carries, as major.minor.release.build text.

#include <string>

namespace rotalis {

// "%d.%s.%s.%s" with the minor part at least two digits ("1.02.3.4",
// "0.00.0.0"); "0.0.0.0" when the file carries no version or cannot be read.
// Never raises.
std::string FileVersionText(const std::string& path);

}  // namespace rotalis
