/*
 * The error a data-aware edit control of a module package raises for input it
 * refuses (a date that is no date, a value out of range). A package written in
 * C++ with the launcher's compiler throws it from its event handlers; the
 * launcher's crash reporter then shows only its message in a simple box and
 * the application goes on: it is the user's slip, not a defect. Every other
 * exception that escapes an event handler is reported as a crash.
 */
#ifndef ROTALIS_EDBEDITERROR_H
#define ROTALIS_EDBEDITERROR_H

#ifdef __cplusplus
#include <stdexcept>

namespace rotalis {

class EDBEditError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace rotalis
#endif

#endif /* ROTALIS_EDBEDITERROR_H */
