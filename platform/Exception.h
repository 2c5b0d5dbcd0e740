#pragma once
// The program's one runtime error class: every failure the program raises on its
// own carries a message text and nothing else (no error codes). Layers that need
// a class of their own (the HTTP layer's ERESTException) derive from it.

#include <stdexcept>
#include <string>

namespace rotalis {

class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace rotalis
