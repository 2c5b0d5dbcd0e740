#pragma once
// The HTTP layer's error: the request could not be carried out (name not
// resolved, connection refused, TLS failure, time-out, reset). Its text is
// "REST request failed: " followed by the transport's message, kept apart as
// InnerMessage.

#include <string>

#include "platform/Exception.h"

namespace rotalis::net {

class ERESTException : public Exception {
 public:
  explicit ERESTException(const std::string& innerMessage)
      : Exception("REST request failed: " + innerMessage), inner_(innerMessage) {}
  const std::string& InnerMessage() const { return inner_; }

 private:
  std::string inner_;
};

}  // namespace rotalis::net
