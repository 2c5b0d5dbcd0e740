#include "tests/support/cloud/CloudFixtureServer.h"

#include <cctype>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace rotalis::test {
namespace {

// As the fixture names rule files: percent-encoded but for letters, digits, "-", "." and "_".
std::string RuleFileName(const std::optional<std::string>& cnpj) {
  if (!cnpj) return "sem-cnpj.json";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string name;
  for (const unsigned char c : *cnpj) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_') {
      name += static_cast<char>(c);
    } else {
      name += '%';
      name += kHex[c >> 4];
      name += kHex[c & 0x0F];
    }
  }
  return name + ".json";
}

std::optional<std::string> OptionalText(const nlohmann::json& value) {
  if (value.is_null()) return std::nullopt;
  return value.get<std::string>();
}

}  // namespace

CloudFixtureServer::CloudFixtureServer(std::string token)
    : folder_("rotalis-cloud"), token_(std::move(token)) {
  std::filesystem::create_directories(folder_ / "rules");
  // The server's standard input is our pipe: when this process ends in any way
  // the pipe closes and the server stops.
  process_ = std::make_unique<HostProcess>(
      "exec python3 -u " + ShellQuoted(ROTALIS_CLOUD_FIXTURE_SCRIPT) + " --folder " +
      ShellQuoted(HostPath(folder_.Path())) + " --rules " +
      ShellQuoted(HostPath(folder_ / "rules")) + " --token " + ShellQuoted(token_) + " >" +
      ShellQuoted(HostPath(folder_ / "server.log")) + " 2>&1");

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!std::filesystem::exists(folder_ / "port")) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("the cloud fixture server did not start: " +
                               folder_.Read("server.log"));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  port_ = std::stoi(folder_.Read("port"));
}

// Ending the process closes its input, the stop signal, and waits until the
// server has gone.
CloudFixtureServer::~CloudFixtureServer() = default;

std::string CloudFixtureServer::Url() const {
  return "https://127.0.0.1:" + std::to_string(port_) + "/functions/v1/regras-por-cnpj";
}

std::string CloudFixtureServer::CaFile() const { return folder_ / "tls/ca.pem"; }

Deployment CloudFixtureServer::CloudDeployment() const {
  Deployment deployment;
  deployment.cloudUrl = Url();
  deployment.cloudToken = token_;
  deployment.cloudCaFile = CaFile();
  return deployment;
}

std::string CloudFixtureServer::RuleFile(const std::optional<std::string>& cnpj) const {
  return folder_ / ("rules/" + RuleFileName(cnpj));
}

void CloudFixtureServer::SetRules(const std::optional<std::string>& cnpj, const std::string& body) {
  // Written aside and renamed, so the server never reads half a file.
  const std::string relative = "rules/" + RuleFileName(cnpj);
  folder_.Write(relative + ".tmp", body);
  std::filesystem::rename(folder_ / (relative + ".tmp"), folder_ / relative);
}

void CloudFixtureServer::RemoveRules(const std::optional<std::string>& cnpj) {
  std::filesystem::remove(RuleFile(cnpj));
}

std::vector<CloudRequest> CloudFixtureServer::Requests() const {
  std::vector<CloudRequest> requests;
  if (!std::filesystem::exists(folder_ / "requests.jsonl")) return requests;
  std::istringstream lines(folder_.Read("requests.jsonl"));
  for (std::string line; std::getline(lines, line);) {
    const auto entry = nlohmann::json::parse(line);
    requests.push_back({entry.at("method").get<std::string>(),
                        entry.at("target").get<std::string>(), OptionalText(entry.at("cnpj")),
                        OptionalText(entry.at("authorization")), OptionalText(entry.at("accept")),
                        entry.at("status").get<int>()});
  }
  return requests;
}

}  // namespace rotalis::test
