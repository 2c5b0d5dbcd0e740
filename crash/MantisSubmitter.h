#pragma once
// Files one bug report with the Mantis tracker: a new issue, or a note on the
// open issue of the same cause, then each attachment. Runs in the caller's
// thread; a failure to file it raises (HttpTransportError for the exchange,
// MantisError for a fault).

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
  std::int64_t noteId = 0;  // when it went to an existing issue as a note
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

  // Looks for an open issue of the project whose text holds `signature`.
  // Found: adds `note` to the oldest such issue and the attachments, each
  // name given the note's number ("bugreport-17.txt") so that it is unique
  // within the issue. Otherwise, and when the tracker refuses the search or
  // the note (an older tracker, an account without the right), it is
  // Submit. A tracker that cannot be reached raises.
  MantisSubmission SubmitGrouped(const MantisIssue& issue,
                                 const std::vector<MantisAttachment>& attachments,
                                 const std::string& signature, const std::string& note);

 private:
  net::HttpResponse Exchange(const std::string& operation, const std::string& envelope);
  std::int64_t Call(const std::string& operation, const std::string& envelope);
  std::int64_t OpenIssueWith(const std::string& project, const std::string& signature);
  void Attach(MantisSubmission& submission, const std::vector<MantisAttachment>& attachments,
              const std::string& suffix);

  net::HttpTransport& transport_;
  std::string endpoint_;
  MantisAccount account_;
};

}  // namespace rotalis::crash
