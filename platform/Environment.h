#pragma once
// The process environment.

#include <optional>
#include <string>

namespace rotalis::platform {

std::optional<std::string> GetEnvironment(const std::string& name);

// Sets (replaces) a variable of this process; children inherit it.
void SetEnvironment(const std::string& name, const std::string& value);

// The separator between elements of PATH (':' here, ';' on Windows).
char PathListSeparator();

}  // namespace rotalis::platform
