#pragma once
// Errors of the database layer. The message is the client library's or the
// server's own text, unchanged, so that callers can show it as it stands.

#include "platform/Exception.h"

namespace rotalis {

class EDatabaseError : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace rotalis
