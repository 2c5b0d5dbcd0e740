#pragma once
// What a report says about an exception object: its class, the classes it
// derives from (filters match those too) and its message.

#include <exception>
#include <string>
#include <vector>

namespace rotalis::crash {

struct ExceptionInfo {
  std::string className;                // demangled, "rotalis::EDBEditError"
  std::vector<std::string> classChain;  // the class, then its bases, breadth first
  std::string message;                  // what(); empty for non-std exceptions
};

ExceptionInfo DescribeException(const std::exception_ptr& error);

// True when `filterClass` ("EDBEditError", or with its namespace) names a class
// of the chain.
bool ClassMatches(const std::vector<std::string>& classChain, const std::string& filterClass);

}  // namespace rotalis::crash
