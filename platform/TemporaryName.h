#pragma once
// Names for a file's new content while it is being written beside it.

#include <string>

namespace rotalis::platform {

// `path` + ".tmp-" + this computer's name + "-" + this process's id. Several
// workstations write the same file of a shared folder, and process ids repeat
// across computers: the computer's name keeps their new contents apart.
// Characters a file name may not hold are replaced.
std::string TemporaryNameBeside(const std::string& path);

}  // namespace rotalis::platform
