#include "tests/support/nginx/NginxUpdateServer.h"

#include <chrono>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "net/HttpTransport.h"

namespace rotalis::test {
namespace {

const std::string kEndOfLog = "/end-of-log-mark-";

}  // namespace

NginxUpdateServer::NginxUpdateServer() : folder_("rotalis-nginx") {
  const std::string work = HostPath(folder_.Path());
  process_ = StartFixture("exec sh " + ShellQuoted(ROTALIS_NGINX_FIXTURE_SCRIPT) + " " +
                              ShellQuoted(work.substr(0, work.size() - 1)),
                          folder_, "nginx update server");
}

// Closing the script's input stops nginx; the process waits until it is gone.
NginxUpdateServer::~NginxUpdateServer() = default;

std::string NginxUpdateServer::Base() { return "http://127.0.0.1:8063"; }

void NginxUpdateServer::PublishList(const std::string& key, const std::string& body) const {
  folder_.Write("root/arquivos/" + (key.empty() ? std::string("index.txt") : key), body);
}

void NginxUpdateServer::PublishFailingList(const std::string& key, int status,
                                           const std::string& body) const {
  if (status != 404 && status != 500)
    throw std::invalid_argument("no list is answered with " + std::to_string(status));
  folder_.Write("root/errors/" + std::to_string(status) + ".txt", body);
  std::filesystem::remove(folder_ / ("root/arquivos/" + (key.empty() ? "index.txt" : key)));
  if (status == 500) folder_.Write("failing/arquivos/" + key + ".500", "");
}

std::string NginxUpdateServer::ServedPath(const std::string& key, const std::string& name) const {
  return "root/download/" + (key.empty() ? std::string() : key + "/") + name;
}

std::string NginxUpdateServer::PublishFile(const std::string& key, const std::string& name,
                                           const std::string& bytes) const {
  return folder_.Write(ServedPath(key, name), bytes);
}

void NginxUpdateServer::PublishGzippedFile(const std::string& key, const std::string& name,
                                           const std::string& bytes) const {
  const std::string path = PublishFile(key, name, bytes);
  const std::string hostPath = HostPath(path);
  if (RunHostCommand("gzip -n -c <" + ShellQuoted(hostPath) + " >" +
                     ShellQuoted(hostPath + ".gz")) != 0)
    throw std::runtime_error("gzip failed for " + path);
}

std::vector<ServedRequest> NginxUpdateServer::Requests() const {
  // nginx logs a request after its last byte went out, so a client may be done
  // before the line is written. One worker serves requests in turn: once the
  // line of a later request is there, so are all before it.
  const std::string mark = kEndOfLog + std::to_string(++marks_);
  net::HttpRequest request;
  request.url = Base() + mark;
  net::HttpTransport::Create()->Send(request);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  std::string log;
  while ((log = ReadIfPresent(folder_ / "access.log")).find(mark + " ") == std::string::npos &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }

  std::vector<ServedRequest> requests;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    ServedRequest request;
    fields >> request.target >> request.status >> request.encoding >> request.bodyBytes;
    if (request.target.rfind(kEndOfLog, 0) == 0) continue;
    if (request.encoding == "-") request.encoding.clear();
    requests.push_back(request);
  }
  return requests;
}

std::vector<std::string> NginxUpdateServer::Targets() const {
  std::vector<std::string> targets;
  for (const auto& request : Requests()) targets.push_back(request.target);
  return targets;
}

}  // namespace rotalis::test
