#pragma once
// Errors of the database layer. The message is the client library's or the
// server's own text, unchanged, so that callers can show it as it stands.

#include "platform/Exception.h"

namespace rotalis {

class EDatabaseError : public Exception {
 public:
  using Exception::Exception;
};

// The server refused a row because another row holds its unique key. Kept
// apart because an import can recover from it: the other row may have been
// written by another workstation after the import read the table.
class EDuplicateKey : public EDatabaseError {
 public:
  using EDatabaseError::EDatabaseError;
};

}  // namespace rotalis
