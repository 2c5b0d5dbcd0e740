#pragma once
// The process search path the launcher runs with, and the folders where it
// looks for the module package.

#include <string>
#include <vector>

namespace rotalis {

// The folders "kernel", "BPLs", "Modulos" and "DLLs" of the application
// folder, in this order, as one PATH value. On Linux they are joined by ':'
// with nothing after the last: an empty element would put the working
// directory on the search path. On Windows every element ends with ';'.
std::string ModuleSearchPath(const std::string& applicationFolder);

// The folders where the module package is looked for, in order: the
// application folder first, then each folder of the search path value (empty
// elements skipped). Every folder ends with the path separator.
std::vector<std::string> PackageSearchFolders(const std::string& applicationFolder,
                                              const std::string& searchPath);

}  // namespace rotalis
