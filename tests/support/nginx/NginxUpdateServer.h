#pragma once
// The update file server for tests and benchmarks: Debian's nginx as a private
// instance on 127.0.0.1:8063 (tests/fixtures/nginx/update-server.sh), serving
// files that the test puts in place and logging every request. The server
// stops when the object goes, and also when the test program dies (the script
// watches its standard input). Port 8063 is fixed: one instance at a time.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

struct ServedRequest {
  std::string target;  // path as sent, e.g. "/download/kelva/a%20b.exe"
  int status = 0;
  std::string encoding;  // Content-Encoding of the reply, "" when none
  std::uint64_t bodyBytes = 0;
};

class NginxUpdateServer {
 public:
  // Starts the server and waits until it listens; throws with nginx's error
  // log when it cannot.
  NginxUpdateServer();
  ~NginxUpdateServer();
  NginxUpdateServer(const NginxUpdateServer&) = delete;
  NginxUpdateServer& operator=(const NginxUpdateServer&) = delete;

  // "http://127.0.0.1:8063"
  static std::string Base();

  // The body of GET /arquivos/<key> (with an empty key: GET /arquivos/).
  void PublishList(const std::string& key, const std::string& body) const;
  // The list of <key> answered with `status` (404 or 500) and `body`.
  void PublishFailingList(const std::string& key, int status, const std::string& body) const;
  // The file behind GET /download/<key>/<name>; returns its path on disk.
  std::string PublishFile(const std::string& key, const std::string& name,
                          const std::string& bytes) const;
  // The same, plus a gzip-coded copy that is sent to clients accepting gzip.
  void PublishGzippedFile(const std::string& key, const std::string& name,
                          const std::string& bytes) const;

  // Every request answered so far, oldest first. Waits until the server has
  // logged all of them (a request of its own marks the end of the log).
  std::vector<ServedRequest> Requests() const;
  // Only the targets of Requests().
  std::vector<std::string> Targets() const;

 private:
  std::string ServedPath(const std::string& key, const std::string& name) const;

  TempFolder folder_;
  std::unique_ptr<HostProcess> process_;
  mutable int marks_ = 0;
};

}  // namespace rotalis::test
