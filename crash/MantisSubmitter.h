#pragma once
// Files one bug report with the Mantis tracker: a new issue, then each
// attachment. Runs in the foreground and raises on the first failure
// (HttpTransportError for the exchange, MantisError for a fault).

#include <cstdint>
#include <string>
#include <vector>

#include "crash/CrashSettings.h"
#include "crash/MantisSoap.h"
#include "net/HttpTransport.h"

namespace rotalis::crash {

struct MantisAttachment {
  std::string name;      // unique within the issue
  std::string fileType;  // MIME type
  std::string content;   // raw bytes
};

class MantisSubmitter {
 public:
  MantisSubmitter(net::HttpTransport& transport, const TCrashSettings& settings);

  // The new issue's id.
  std::int64_t Submit(const MantisIssue& issue, const std::vector<MantisAttachment>& attachments);

 private:
  std::int64_t Call(const std::string& operation, const std::string& envelope);

  net::HttpTransport& transport_;
  std::string endpoint_;
  MantisAccount account_;
};

}  // namespace rotalis::crash
