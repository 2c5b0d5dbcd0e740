#pragma once
// Files one bug report with the Mantis tracker: a new issue, then each
// attachment. Runs in the foreground; a failure to add the issue raises
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

struct MantisSubmission {
  std::int64_t issueId = 0;
  // Each attachment the tracker did not take, with its reason ("screenshot.png:
  // File type not allowed."); the issue stands without it.
  std::vector<std::string> refused;
};

class MantisSubmitter {
 public:
  MantisSubmitter(net::HttpTransport& transport, const TCrashSettings& settings);

  // Raises when the issue cannot be added; once it exists, an attachment that
  // fails is only listed and the next one is tried.
  MantisSubmission Submit(const MantisIssue& issue,
                          const std::vector<MantisAttachment>& attachments);

 private:
  std::int64_t Call(const std::string& operation, const std::string& envelope);

  net::HttpTransport& transport_;
  std::string endpoint_;
  MantisAccount account_;
};

}  // namespace rotalis::crash
