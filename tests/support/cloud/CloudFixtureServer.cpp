#include "tests/support/cloud/CloudFixtureServer.h"

#include <cctype>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tests/support/SharedFixture.h"

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

constexpr const char* kLoopback = "https://127.0.0.1:";
constexpr const char* kRulesPath = "/functions/v1/regras-por-cnpj";

std::string CompiledPort(const Deployment& deployment) {
  const std::string& url = deployment.cloudUrl;
  const std::string prefix = kLoopback;
  const auto path = url.find('/', prefix.size());
  if (url.rfind(prefix, 0) != 0 || path == std::string::npos || url.substr(path) != kRulesPath ||
      path == prefix.size())
    throw std::runtime_error(
        "the launcher tests serve the cloud on loopback, but this build has "
        "ROTALIS_CLOUD_URL=\"" +
        url + "\"; configure with ROTALIS_CLOUD_URL=" + kLoopback + "<port>" + kRulesPath);
  if (deployment.cloudCaFile.empty())
    throw std::runtime_error(
        "the launcher tests need a CA file the build trusts; configure with "
        "ROTALIS_CLOUD_CA_FILE=<build folder>/test-pki/ca.pem");
  return url.substr(prefix.size(), path - prefix.size());
}

// The certificates live two days; a build folder outlives that. Ones made
// before the server certificate named 127.0.0.1 as a DNS name too (which
// Schannel needs) are made again.
void EnsureCertificates(const std::string& caFile) {
  const std::string pki = caFile.substr(0, caFile.find_last_of('/'));
  const std::string script =
      "mkdir -p \"$1\" && cd \"$1\" || exit 1\n"
      "test -s server.key && test -s \"$3\" &&"
      " openssl x509 -checkend 3600 -noout -in server.pem >/dev/null 2>&1 &&"
      " openssl x509 -checkend 3600 -noout -in \"$3\" >/dev/null 2>&1 &&"
      " openssl x509 -noout -ext subjectAltName -in server.pem 2>/dev/null |"
      " grep -q 'DNS:127.0.0.1' && exit 0\n"
      "python3 -c 'import sys; sys.path.insert(0, sys.argv[1]);"
      " import fixture_server; fixture_server.make_certificates(sys.argv[2])' \"$2\" \"$1\" &&"
      " { test \"$1/ca.pem\" -ef \"$3\" || cp \"$1/ca.pem\" \"$3\"; }\n";
  const std::string log = pki + "/make-certificates.log";
  if (RunHostCommand("set -- " + ShellQuoted(pki) + " " + ShellQuoted(ROTALIS_HTTP_FIXTURE_FOLDER) +
                         " " + ShellQuoted(caFile) + "\n" + script + "\n",
                     nullptr) != 0)
    throw std::runtime_error("cannot make the test CA in " + pki + "; see " + log);
}

}  // namespace

CloudFixtureServer::CloudFixtureServer(std::string token)
    : CloudFixtureServer(std::move(token), "") {
  caFile_ = folder_ / "tls/ca.pem";
}

CloudFixtureServer::CloudFixtureServer(std::string token, const std::string& options)
    : folder_("rotalis-cloud"), token_(std::move(token)) {
  std::filesystem::create_directories(folder_ / "rules");
  process_ = StartFixture("exec python3 -u " + ShellQuoted(ROTALIS_CLOUD_FIXTURE_SCRIPT) +
                              " --folder " + ShellQuoted(HostPath(folder_.Path())) + " --rules " +
                              ShellQuoted(HostPath(folder_ / "rules")) + " --token " +
                              ShellQuoted(token_) + options,
                          folder_, "cloud fixture server");
  port_ = std::stoi(folder_.Read("port"));
}

std::unique_ptr<CloudFixtureServer> CloudFixtureServer::AtCompiledAddress() {
  const Deployment& compiled = Deployment::Compiled();
  const std::string port = CompiledPort(compiled);
  // The build may name the CA file either way; the scripts want the host's.
  const std::string& ca = compiled.cloudCaFile;
  const std::string hostCa = ca.front() == '/' ? ca : HostPath(ca);
  EnsureCertificates(hostCa);
  const std::string pki = hostCa.substr(0, hostCa.rfind('/') + 1);
  std::unique_ptr<CloudFixtureServer> cloud(new CloudFixtureServer(
      compiled.cloudToken, " --port " + port + " --cert " + ShellQuoted(pki + "server.pem") +
                               " --key " + ShellQuoted(pki + "server.key")));
  cloud->caFile_ = ca;
  return cloud;
}

// Ending the process closes its input, the stop signal, and waits until the
// server has gone.
CloudFixtureServer::~CloudFixtureServer() = default;

std::string CloudFixtureServer::Url() const {
  return "https://127.0.0.1:" + std::to_string(port_) + kRulesPath;
}

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
  std::istringstream lines(ReadIfPresent(folder_ / "requests.jsonl"));
  for (std::string line; std::getline(lines, line);) {
    const auto entry = nlohmann::json::parse(line);
    requests.push_back({entry.at("method").get<std::string>(),
                        entry.at("target").get<std::string>(), OptionalText(entry.at("cnpj")),
                        OptionalText(entry.at("authorization")), OptionalText(entry.at("accept")),
                        entry.at("status").get<int>()});
  }
  return requests;
}

namespace {

SharedFixture<CloudFixtureServer>& SharedCloudFixture() {
  static auto& shared =
      SharedFixture<CloudFixtureServer>::Register(&CloudFixtureServer::AtCompiledAddress);
  return shared;
}

}  // namespace

CloudFixtureServer& SharedCloud() { return SharedCloudFixture().Get(); }

void StopSharedCloud() { SharedCloudFixture().TearDown(); }

}  // namespace rotalis::test
