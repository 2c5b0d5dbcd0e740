#pragma once
// Which edition of the ERP is installed in the application folder.

#include <string>

namespace rotalis {

// "kelva", "dorim", "saven" or "tolma" for the first of KelvaERP.exe,
// DorimERP.exe, SavenERP.exe, TolmaERP.exe found in `folder` (names matched
// ignoring case), else "". Never raises.
std::string DetectEdition(const std::string& folder);

}  // namespace rotalis
