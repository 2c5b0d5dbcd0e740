#pragma once
// Where the program lives. Every file name of the system is built from the
// application folder, never from the working directory.

#include <string>
#include <string_view>

namespace rotalis::platform {

// The platform's path separator ('/' here, '\\' on Windows).
char PathSeparator();

// Full path of the running executable.
std::string ExecutablePath();

// Folder of the running executable, ending with the path separator.
std::string ApplicationFolder();

// The folder part of a path, with its trailing separator ("" when there is none).
std::string FolderOf(std::string_view path);

// folder + name with exactly one separator between them.
std::string JoinPath(std::string_view folder, std::string_view name);

// The folder with a trailing separator ensured.
std::string WithTrailingSeparator(std::string_view folder);

}  // namespace rotalis::platform
