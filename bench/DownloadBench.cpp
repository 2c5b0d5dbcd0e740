// How fast an installer comes down: DownloadUpdateFile against `curl -o` for
// the same file from the same nginx on loopback. Prints the median of each and
// their ratio; the download should not be more than 10 % slower. Also the
// verified download (signature, download, BLAKE2b check and rename) of the
// same file signed by minisign, which shows what the check costs.
//
//   download_bench [megabytes=200] [rounds=5]

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Process.h"
#include "tests/support/HostShell.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/TempFolder.h"
#include "tests/support/nginx/NginxUpdateServer.h"
#include "update/UpdateDownload.h"
#include "update/VerifiedDownload.h"

namespace {

using rotalis::test::NginxUpdateServer;

// Bytes that do not compress, so that neither side gains from a coding.
std::string NoiseBytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint64_t state = 0x9e3779b97f4a7c15ull;
  for (std::size_t i = 0; i < size; i += 8) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    for (std::size_t k = 0; k < 8 && i + k < size; ++k)
      bytes[i + k] = static_cast<char>(state >> (8 * k));
  }
  return bytes;
}

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void RunCurl(const std::string& url, const std::string& output) {
  auto curl = rotalis::platform::StartProcess("/usr/bin/curl", "-s -f -o " + output + " " + url);
  while (!curl.WaitFor(1000)) {
  }
  if (curl.ExitCode() != 0)
    throw std::runtime_error("curl failed: " + std::to_string(curl.ExitCode()));
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 200;
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
  try {
    NginxUpdateServer server;
    rotalis::test::TempFolder local("rotalis-bench");
    const std::size_t size = megabytes << 20;
    const std::string served = server.PublishFile("kelva", "Setup_bench.exe", NoiseBytes(size));
    const std::string url = NginxUpdateServer::Base() + "/download/kelva/Setup_bench.exe";
    const std::string curlOutput = local / "curl.exe";
    rotalis::test::TempFolder keys("rotalis-bench-keys");
    using rotalis::test::HostPath;
    using rotalis::test::ShellQuoted;
    const std::string secretKey = ShellQuoted(HostPath(keys / "bench.key"));
    if (rotalis::test::RunHostCommand("minisign -G -W -p " +
                                      ShellQuoted(HostPath(keys / "bench.pub")) + " -s " +
                                      secretKey + " >/dev/null") != 0 ||
        rotalis::test::RunHostCommand("minisign -S -s " + secretKey + " -m " +
                                      ShellQuoted(HostPath(served)) + " >/dev/null") != 0)
      throw std::runtime_error("minisign could not sign the file");
    std::string publicKey = keys.Read("bench.pub");
    publicKey = publicKey.substr(publicKey.find('\n') + 1, 56);
    const std::string verifiedFolder = local / "verified/";
    const std::string ourOutput = local / "Setup_bench.exe";

    rotalis::test::RecordingApplication app;
    auto& form = app.CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, 1});
    auto ours = [&] {
      rotalis::DownloadUpdateFile(app, NginxUpdateServer::Base(), "kelva", "Setup_bench.exe",
                                  local.Path(), &form);
    };

    RunCurl(url, curlOutput);  // warms the page cache and both code paths
    ours();
    auto verified = [&] {
      rotalis::DownloadVerifiedUpdateFile(app, NginxUpdateServer::Base(), "kelva",
                                          "Setup_bench.exe", verifiedFolder, publicKey, &form);
    };
    std::vector<double> curlTimes, ourTimes, verifiedTimes;
    for (int round = 0; round < rounds; ++round) {
      std::filesystem::remove(curlOutput);
      curlTimes.push_back(Seconds([&] { RunCurl(url, curlOutput); }));
      std::filesystem::remove(ourOutput);
      ourTimes.push_back(Seconds(ours));
      std::filesystem::remove_all(verifiedFolder);
      verifiedTimes.push_back(Seconds(verified));
    }
    if (!app.messages.empty()) throw std::runtime_error("download failed: " + app.messages[0]);
    if (std::filesystem::file_size(ourOutput) != size ||
        std::filesystem::file_size(verifiedFolder + "Setup_bench.exe") != size)
      throw std::runtime_error("the download is incomplete");

    const double curlMedian = Median(curlTimes);
    const double ourMedian = Median(ourTimes);
    std::printf("file                %zu MB over loopback, %d rounds, median\n", megabytes, rounds);
    std::printf("curl -o             %.3f s  (%.0f MB/s)\n", curlMedian, megabytes / curlMedian);
    std::printf("DownloadUpdateFile  %.3f s  (%.0f MB/s)\n", ourMedian, megabytes / ourMedian);
    std::printf("ratio               %.3f  (ours / curl; goal <= 1.10)\n", ourMedian / curlMedian);
    const double verifiedMedian = Median(verifiedTimes);
    std::printf("verified download   %.3f s  (%.0f MB/s; ratio to curl %.3f)\n", verifiedMedian,
                megabytes / verifiedMedian, verifiedMedian / curlMedian);
    std::printf("progress updates    %d\n", app.progressForms[0]->transferUpdates);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "download_bench: %s\n", error.what());
    return 1;
  }
}
