// Rule synchronisation throughput: N generated rules synchronised into a fresh
// table, then the same answer again (every row located and updated with the
// values it already holds), against the private MariaDB and the HTTPS cloud
// fixture on loopback. Prints rows per second and the peak resident memory of
// each run. Nothing is asserted.
//
//   rule_sync_bench [N ...]      default: 1000 10000 100000

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/Environment.h"
#include "platform/ResourceUsage.h"
#include "rules/RuleSync.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbServer.h"

namespace rotalis {
namespace {

constexpr const char* kCnpj = "12.345.678/0001-90";

// Written one record at a time, so that the generator's own memory does not
// count in the peak of the runs it is compared with.
std::uint64_t WriteRules(const std::string& path, int count) {
  const std::string temporary = path + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << '[';
    for (int i = 0; i < count; ++i) {
      char code[16];
      std::snprintf(code, sizeof code, "%08d", i);
      net::Json rule = test::SampleRule(code);
      rule["regime_id"] = 1 + i % 3;
      rule["icm_interno"] = (i % 19) + 0.12345;
      rule["data_inicio"] = i % 2 ? "2026-01-01T00:00:00-03:00" : "2026-01-01";
      rule["data_fim"] = i % 5 ? "" : "2027-12-31";
      out << (i ? "," : "") << rule.dump();
    }
    out << ']';
  }
  std::filesystem::rename(temporary, path);
  return std::filesystem::file_size(path);
}

// False when the platform could not restart the peak before a run.
bool Run(test::MariaDbServer& server, const std::string& database, const test::SyncSite& site,
         int count, const char* phase) {
  test::RecordingApplication app;
  const bool resetPeak = platform::ResetPeakResident();
  const auto start = std::chrono::steady_clock::now();
  SyncTaxRules(app, site.Here());
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  const double peakMiB = platform::PeakResidentBytes() / (1024.0 * 1024.0);
  const auto rows = server.QueryValue("SELECT COUNT(*) FROM nrt", database).value_or("?");
  std::printf("%9d  %-9s  %8.2f  %9.0f  %8.1f%s  %9s\n", count, phase, elapsed.count(),
              count / elapsed.count(), peakMiB, resetPeak ? "" : "*", rows.c_str());
  std::fflush(stdout);
  return resetPeak;
}

int Main(int argc, char** argv) {
  std::vector<int> counts;
  for (int i = 1; i < argc; ++i) counts.push_back(std::atoi(argv[i]));
  if (counts.empty()) counts = {1000, 10000, 100000};

  platform::SetEnvironment("TZ", "America/Sao_Paulo");
  test::MariaDbServer server;
  test::CloudFixtureServer cloud;
  std::printf("%9s  %-9s  %8s  %9s  %8s   %9s\n", "rules", "run", "seconds", "rows/s", "peak MiB",
              "rows");
  bool allPeaksReset = true;
  for (const int count : counts) {
    const std::string database = server.CreateDatabase();
    test::CreateCompany(server, database, kCnpj);
    const test::SyncSite site(server, database, cloud);
    const std::uint64_t bytes = WriteRules(cloud.RuleFile(kCnpj), count);
    std::printf("# %d rules, answer of %.1f MiB\n", count, bytes / (1024.0 * 1024.0));
    allPeaksReset &= Run(server, database, site, count, "fresh");
    allPeaksReset &= Run(server, database, site, count, "unchanged");
    server.Execute("DROP DATABASE " + database);
  }
  if (!allPeaksReset)
    std::printf("* the platform cannot restart the peak: it counts from the program's start\n");
  return 0;
}

}  // namespace
}  // namespace rotalis

int main(int argc, char** argv) {
  try {
    return rotalis::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "rule_sync_bench: %s\n", error.what());
    return 1;
  }
}
