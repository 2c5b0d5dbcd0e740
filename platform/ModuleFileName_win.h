#pragma once
// The full path of a loaded module. For the _win.cpp files of this folder only.

#include <windows.h>

#include <string>

namespace rotalis::platform {

// The file of `module` (null: the program itself), whatever its length;
// empty when the system cannot name it.
std::wstring ModuleFileName(HMODULE module);

}  // namespace rotalis::platform
