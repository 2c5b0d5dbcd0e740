#include "tests/support/proxy/TestProxy.h"

#include <sstream>

namespace rotalis::test {

TestProxy::TestProxy(const std::string& credentials) : folder_("rotalis-proxy") {
  const std::string work = HostPath(folder_.Path());
  process_ = StartFixture("exec bash " + ShellQuoted(ROTALIS_PROXY_FIXTURE_SCRIPT) + " " +
                              ShellQuoted(work.substr(0, work.size() - 1)) + " 13128" +
                              (credentials.empty() ? "" : " " + ShellQuoted(credentials)),
                          folder_, "test proxy");
}

// Closing the script's input stops the proxy; the process waits until it is gone.
TestProxy::~TestProxy() = default;

std::string TestProxy::Address() { return "127.0.0.1:13128"; }

std::vector<std::string> TestProxy::Requests() const {
  // tinyproxy logs a request as it reads it, before it passes it on: by the
  // time the client has its answer, the line is there.
  std::vector<std::string> requests;
  std::istringstream lines(folder_.Read("proxy.log"));
  const std::string marker = "Request (file descriptor ";
  for (std::string line; std::getline(lines, line);) {
    const auto at = line.find(marker);
    if (at == std::string::npos) continue;
    const auto start = line.find("): ", at);
    if (start == std::string::npos) continue;
    std::string request = line.substr(start + 3);
    request = request.substr(0, request.rfind(" HTTP/"));
    requests.push_back(request);
  }
  return requests;
}

}  // namespace rotalis::test
