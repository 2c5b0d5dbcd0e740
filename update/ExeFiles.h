#pragma once
// Installer programs lying in a folder.

#include <string>
#include <vector>

namespace rotalis {

// Appends the full path of every ".exe" file (extension compared ignoring
// case) directly inside `folder`, in the platform's enumeration order. Folders
// are skipped, whatever their name; a missing folder adds nothing.
void ListExeFiles(const std::string& folder, std::vector<std::string>& list);

}  // namespace rotalis
