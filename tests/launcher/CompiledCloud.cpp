#include "tests/launcher/CompiledCloud.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <thread>

#include "config/Deployment.h"
#include "tests/support/HostShell.h"

namespace rotalis::test {
namespace {

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

CompiledCloud::CompiledCloud() : folder_("rotalis-cloud") {
  const Deployment& compiled = Deployment::Compiled();
  const std::string port = CompiledPort(compiled);
  // The build may name the CA file either way; the scripts want the host's.
  const std::string& ca = compiled.cloudCaFile;
  const std::string hostCa = ca.front() == '/' ? ca : HostPath(ca);
  EnsureCertificates(hostCa);
  const std::string pki = hostCa.substr(0, hostCa.rfind('/') + 1);
  std::filesystem::create_directories(folder_ / "rules");
  // The server's standard input is our pipe: when this process ends in any way
  // the pipe closes and the server stops.
  process_ = std::make_unique<HostProcess>(
      "exec python3 -u " + ShellQuoted(ROTALIS_CLOUD_FIXTURE_SCRIPT) + " --folder " +
      ShellQuoted(HostPath(folder_.Path())) + " --rules " +
      ShellQuoted(HostPath(folder_ / "rules")) + " --token " + ShellQuoted(compiled.cloudToken) +
      " --port " + port + " --cert " + ShellQuoted(pki + "server.pem") + " --key " +
      ShellQuoted(pki + "server.key") + " >" + ShellQuoted(HostPath(folder_ / "server.log")) +
      " 2>&1");

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!std::filesystem::exists(folder_ / "port")) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw std::runtime_error("the cloud fixture did not start on port " + port + ": " +
                               folder_.Read("server.log"));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

// Ending the process closes its input, the stop signal, and waits until the
// server has gone.
CompiledCloud::~CompiledCloud() = default;

void CompiledCloud::SetRules(const std::string& cnpj, const std::string& body) const {
  if (cnpj.empty() || cnpj.find_first_not_of("0123456789") != std::string::npos)
    throw std::invalid_argument("CNPJ of digits only expected, got '" + cnpj + "'");
  // Written aside and renamed, so the server never reads half a file.
  const std::string relative = "rules/" + cnpj + ".json";
  folder_.Write(relative + ".tmp", body);
  std::filesystem::rename(folder_ / (relative + ".tmp"), folder_ / relative);
}

namespace {

class CloudEnvironment : public ::testing::Environment {
 public:
  CompiledCloud& Get() {
    if (!cloud_) cloud_ = std::make_unique<CompiledCloud>();
    return *cloud_;
  }
  void TearDown() override { cloud_.reset(); }

 private:
  std::unique_ptr<CompiledCloud> cloud_;
};

CloudEnvironment& SharedEnvironment() {
  // gtest owns and deletes registered environments.
  static CloudEnvironment* environment =
      static_cast<CloudEnvironment*>(::testing::AddGlobalTestEnvironment(new CloudEnvironment));
  return *environment;
}

}  // namespace

CompiledCloud& SharedCloud() { return SharedEnvironment().Get(); }

void StopSharedCloud() { SharedEnvironment().TearDown(); }

}  // namespace rotalis::test
