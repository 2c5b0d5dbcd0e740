#include "tests/support/http/HttpFixtureServer.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace rotalis::test {
namespace {

std::string ToHex(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (const char c : bytes) {
    out += kDigits[static_cast<unsigned char>(c) >> 4];
    out += kDigits[static_cast<unsigned char>(c) & 0x0F];
  }
  return out;
}

std::string FromHex(const std::string& hex) {
  std::string out;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return out;
}

}  // namespace

std::optional<std::string> LoggedRequest::Header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (std::ranges::equal(key, name, [](unsigned char a, unsigned char b) {
          return std::tolower(a) == std::tolower(b);
        })) {
      return value;
    }
  }
  return std::nullopt;
}

HttpFixtureServer::HttpFixtureServer() : folder_("rotalis-http") {
  process_ = StartFixture("exec python3 -u " + ShellQuoted(ROTALIS_HTTP_FIXTURE_SCRIPT) +
                              " --folder " + ShellQuoted(HostPath(folder_.Path())),
                          folder_, "HTTP fixture server");
  const auto parsed = nlohmann::json::parse(folder_.Read("ports.json"));
  httpPort_ = parsed.at("http").get<int>();
  httpsPort_ = parsed.at("https").get<int>();
}

// Ending the process closes its input, the stop signal, and waits until the
// server has gone.
HttpFixtureServer::~HttpFixtureServer() = default;

std::string HttpFixtureServer::HttpBase() const {
  return "http://127.0.0.1:" + std::to_string(httpPort_);
}

std::string HttpFixtureServer::HttpsBase() const {
  return "https://127.0.0.1:" + std::to_string(httpsPort_);
}

std::string HttpFixtureServer::CaFile() const { return folder_ / "tls/ca.pem"; }

void HttpFixtureServer::SetReply(const std::string& path, const FixtureReply& reply) {
  routes_[path] = reply;
  WriteRoutes();
}

void HttpFixtureServer::WriteRoutes() const {
  nlohmann::json routes = nlohmann::json::object();
  for (const auto& [path, reply] : routes_) {
    static constexpr const char* kModes[] = {"normal", "silent", "reset"};
    routes[path] = {{"status", reply.status},
                    {"body_hex", ToHex(reply.body)},
                    {"content_type", reply.contentType},
                    {"charset", reply.charset},
                    {"headers", reply.headers},
                    {"gzip", reply.gzip},
                    {"mode", kModes[static_cast<int>(reply.mode)]}};
  }
  // Written aside and renamed, so the server never reads half a file.
  const std::string file = folder_ / "routes.json";
  std::ofstream(file + ".tmp", std::ios::trunc) << routes.dump();
  std::filesystem::rename(file + ".tmp", file);
}

std::vector<LoggedRequest> HttpFixtureServer::Requests() const {
  std::vector<LoggedRequest> requests;
  std::istringstream lines(ReadIfPresent(folder_ / "requests.jsonl"));
  for (std::string line; std::getline(lines, line);) {
    const auto entry = nlohmann::json::parse(line);
    LoggedRequest request;
    request.tls = entry.at("tls").get<bool>();
    request.requestLine = entry.at("request_line").get<std::string>();
    request.method = entry.at("method").get<std::string>();
    request.target = entry.at("target").get<std::string>();
    for (const auto& header : entry.at("headers")) {
      request.headers.emplace_back(header.at(0).get<std::string>(),
                                   header.at(1).get<std::string>());
    }
    request.body = FromHex(entry.at("body_hex").get<std::string>());
    requests.push_back(std::move(request));
  }
  return requests;
}

}  // namespace rotalis::test
