#pragma once
// A real HTTP and HTTPS server on loopback for the tests (the Python fixture
// tests/fixtures/http/fixture_server.py), with a CA and server certificate made
// for this run. Each path can be told how to answer; every request it receives
// is logged and can be read back. The server stops when the object goes, and
// also when the test program dies (it watches its standard input).

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

struct FixtureReply {
  enum class Mode { Normal, Silent, Reset };

  int status = 200;
  std::string body;                        // raw bytes
  std::string contentType = "text/plain";  // empty: no Content-Type header
  std::string charset;                     // appended as "; charset=..." when set
  std::map<std::string, std::string> headers;
  bool gzip = false;  // send the body gzip-coded, with Content-Encoding: gzip
  // Silent: read the request and never answer. Reset: announce the whole body,
  // send half of it, then reset the connection.
  Mode mode = Mode::Normal;
};

// A plain answer: the status and body with that Content-Type and charset.
inline FixtureReply Reply(int status, std::string body, std::string contentType = "text/plain",
                          std::string charset = "") {
  FixtureReply reply;
  reply.status = status;
  reply.body = std::move(body);
  reply.contentType = std::move(contentType);
  reply.charset = std::move(charset);
  return reply;
}

struct LoggedRequest {
  bool tls = false;
  std::string requestLine;  // e.g. "GET /a?b=c HTTP/1.1"
  std::string method;
  std::string target;  // path and query as sent
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  // The value of the first header of that name (any case); nothing when absent.
  std::optional<std::string> Header(const std::string& name) const;
};

class HttpFixtureServer {
 public:
  HttpFixtureServer();  // waits until both servers listen; throws when they do not
  ~HttpFixtureServer();
  HttpFixtureServer(const HttpFixtureServer&) = delete;
  HttpFixtureServer& operator=(const HttpFixtureServer&) = delete;

  std::string HttpBase() const;   // "http://127.0.0.1:<port>"
  std::string HttpsBase() const;  // "https://127.0.0.1:<port>"
  std::string CaFile() const;     // PEM of the CA that signed the https certificate

  // How a path (without query) is answered from now on; "*" for every other path.
  // Unconfigured paths get 200 with an empty text/plain body.
  void SetReply(const std::string& path, const FixtureReply& reply);

  // Every request received so far, oldest first.
  std::vector<LoggedRequest> Requests() const;

 private:
  void WriteRoutes() const;

  TempFolder folder_;
  std::unique_ptr<HostProcess> process_;
  int httpPort_ = 0;
  int httpsPort_ = 0;
  std::map<std::string, FixtureReply> routes_;
};

}  // namespace rotalis::test
