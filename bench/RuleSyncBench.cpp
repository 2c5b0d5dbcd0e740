// Rule synchronisation against its replay limit. For N generated rules, the
// launcher's synchronisation runs into a fresh table and again with the same
// answer (unchanged), against the private MariaDB at default durability and
// the HTTPS cloud fixture on loopback. The statements each run sent are
// captured from the server's general log and replayed, in order, over one
// connection by a minimal loop over the client library: the replay limit, the
// time the statements alone take. A third capture is the import that writes
// every row of an unchanged answer (what each start sent before unchanged
// rows were skipped), the reference for the unchanged run. Launcher and
// replay take turns round by round. Prints seconds, the launcher's CPU time,
// ratios and the peak resident memory of the first round. Nothing is
// asserted.
//
//   rule_sync_bench [N ...]      default: 1000 10000 100000

#include <mysql.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "platform/Environment.h"
#include "platform/FileSystem.h"
#include "platform/ResourceUsage.h"
#include "rules/CloudRules.h"
#include "rules/RuleImport.h"
#include "rules/RuleSync.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbServer.h"

namespace rotalis {
namespace {

constexpr const char* kCnpj = "12.345.678/0001-90";
using Clock = std::chrono::steady_clock;
using Statements = std::vector<std::string>;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

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

// What every other session sends while it is on, from the server's own log.
class GeneralLog {
 public:
  explicit GeneralLog(const test::MariaDbServer& server) { server.Configure(admin_, "mysql"); }

  void Start() {
    Run("SET GLOBAL log_output = 'TABLE'");
    Run("TRUNCATE TABLE mysql.general_log");
    Run("SET GLOBAL general_log = 1");
  }

  Statements Stop() {
    Run("SET GLOBAL general_log = 0");
    // The CSV table reads back in the order it was written.
    TDbQuery log(admin_);
    log.SQL().SetText(
        "SELECT argument FROM mysql.general_log WHERE command_type = 'Query' AND "
        "thread_id <> CONNECTION_ID()");
    log.Open();
    Statements statements;
    for (; !log.Eof(); log.Next()) statements.push_back(log.FieldByName("argument").AsString());
    return statements;
  }

  void Run(const std::string& sql) {
    TDbQuery query(admin_);
    query.SQL().SetText(sql);
    query.ExecSQL();
  }

 private:
  TDbConnection admin_;
};

// The statements over one session of the client library, as a program that
// does nothing else would send them; connecting included, as the launcher's
// time includes its own.
double Replay(const test::MariaDbServer& server, const std::string& database,
              const Statements& statements) {
  const auto start = Clock::now();
  MYSQL* session = mysql_init(nullptr);
  mysql_optionsv(session, MYSQL_SET_CHARSET_NAME, "utf8mb4");
  if (mysql_real_connect(session, server.Host().c_str(), server.User().c_str(),
                         server.Password().c_str(), database.c_str(),
                         static_cast<unsigned>(server.Port()), nullptr,
                         CLIENT_FOUND_ROWS) == nullptr) {
    const std::string error = mysql_error(session);
    mysql_close(session);
    throw std::runtime_error("replay: " + error);
  }
  for (const std::string& sql : statements) {
    if (mysql_real_query(session, sql.data(), sql.size()) != 0) {
      const std::string error = mysql_error(session);
      mysql_close(session);
      throw std::runtime_error("replay: " + error + " in " + sql.substr(0, 200));
    }
    if (MYSQL_RES* result = mysql_store_result(session)) mysql_free_result(result);
  }
  mysql_close(session);
  return SecondsSince(start);
}

struct Run {
  double seconds = 0;
  double cpuSeconds = 0;  // the launcher's own share of the time
  double peakMiB = 0;
  bool peakReset = false;
};

Run Synchronise(const test::SyncSite& site) {
  test::RecordingApplication app;
  Run run;
  run.peakReset = platform::ResetPeakResident();
  const auto start = Clock::now();
  const std::clock_t cpuStart = std::clock();
  SyncTaxRules(app, site.Here());
  run.seconds = SecondsSince(start);
  run.cpuSeconds = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  run.peakMiB = platform::PeakResidentBytes() / (1024.0 * 1024.0);
  return run;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

class Bench {
 public:
  Bench() : log_(server_) {
    platform::SetEnvironment("TZ", "America/Sao_Paulo");
    // The fixture trades durability for test speed; a real server does not.
    server_.Execute("SET GLOBAL innodb_flush_log_at_trx_commit = 1");
  }

  bool AllPeaksReset() const { return allPeaksReset_; }

  void Measure(int count, int rounds) {
    const std::string database = server_.CreateDatabase();
    const test::SyncSite site(server_, database, cloud_);
    const std::uint64_t bytes = WriteRules(cloud_.RuleFile(kCnpj), count);
    std::printf("# %d rules, answer of %.1f MiB, median of %d rounds\n", count,
                bytes / (1024.0 * 1024.0), rounds);

    // Launcher and replay take turns, round by round, so that a drift in the
    // machine's speed (the disk's flushes above all) reaches both alike. The
    // peak is that of the first round, before this program holds the
    // statements it captured.
    std::vector<double> fresh, unchanged, freshCpu, unchangedCpu;
    std::vector<double> freshLimit, unchangedLimit, everyRowLimit;
    double peak = 0;
    bool peakReset = true;
    Statements freshSent, unchangedSent, everyRowSent;
    for (int round = 0; round < rounds; ++round) {
      Reset(database);
      for (auto [times, cpu] :
           {std::pair{&fresh, &freshCpu}, std::pair{&unchanged, &unchangedCpu}}) {
        const Run run = Synchronise(site);
        times->push_back(run.seconds);
        cpu->push_back(run.cpuSeconds);
        if (round == 0) {
          peak = std::max(peak, run.peakMiB);
          peakReset &= run.peakReset;
        }
      }
      if (round == 0) {
        // What each run sends, from the server's log: the launcher into a
        // fresh table, again with the same answer, and the import that writes
        // every row.
        Reset(database);
        log_.Start();
        Synchronise(site);
        freshSent = log_.Stop();
        log_.Start();
        Synchronise(site);
        unchangedSent = log_.Stop();
        log_.Start();
        WriteEveryRow(database, cloud_.RuleFile(kCnpj));
        everyRowSent = log_.Stop();
      }
      Reset(database);
      freshLimit.push_back(Replay(server_, database, freshSent));
      unchangedLimit.push_back(Replay(server_, database, unchangedSent));
      everyRowLimit.push_back(Replay(server_, database, everyRowSent));
    }
    const auto rows = server_.QueryValue("SELECT COUNT(*) FROM nrt", database).value_or("?");
    server_.Execute("DROP DATABASE " + database);

    allPeaksReset_ &= peakReset;
    Print(count, "fresh", Median(fresh), Median(freshCpu), freshSent.size(), Median(freshLimit),
          peak, peakReset);
    Print(count, "unchanged", Median(unchanged), Median(unchangedCpu), unchangedSent.size(),
          Median(everyRowLimit), peak, peakReset);
    std::printf(
        "%9d  %-9s  %8s  %6s  %10zu  %8.3f  %6s  (replay of the skip's own statements: %.3f s;"
        " rows %s)\n",
        count, "every row", "", "", everyRowSent.size(), Median(everyRowLimit), "",
        Median(unchangedLimit), rows.c_str());
    std::fflush(stdout);
  }

 private:
  // The database as the launcher first meets it: the company, no rule table.
  void Reset(const std::string& database) {
    server_.Execute("DROP DATABASE IF EXISTS " + database + "; CREATE DATABASE " + database +
                    " CHARACTER SET latin1");
    test::CreateCompany(server_, database, kCnpj);
  }

  // The import of an unchanged answer as it was before unchanged rows were
  // skipped: every located row posted.
  void WriteEveryRow(const std::string& database, const std::string& ruleFile) {
    std::optional<RuleList> list = ExtractRuleList(platform::ReadFileBytes(ruleFile));
    TDbConnection connection;
    server_.Configure(connection, database);
    TDbQuery rules(connection);
    rules.SQL().SetText(kRuleSelect);
    rules.Open();
    ImportRules(rules, *list, UnchangedRows::Write);
  }

  static void Print(int count, const char* phase, double seconds, double cpuSeconds,
                    std::size_t statements, double limit, double peak, bool peakReset) {
    std::printf("%9d  %-9s  %8.3f  %6.3f  %10zu  %8.3f  %5.2fx  %8.1f%s\n", count, phase, seconds,
                cpuSeconds, statements, limit, seconds / limit, peak, peakReset ? "" : "*");
  }

  test::MariaDbServer server_;
  test::CloudFixtureServer cloud_;
  GeneralLog log_;
  bool allPeaksReset_ = true;
};

int Main(int argc, char** argv) {
  std::vector<int> counts;
  for (int i = 1; i < argc; ++i) counts.push_back(std::atoi(argv[i]));
  if (counts.empty()) counts = {1000, 10000, 100000};

  Bench bench;
  std::printf("%9s  %-9s  %8s  %6s  %10s  %8s  %6s  %8s\n", "rules", "run", "seconds", "cpu s",
              "statements", "limit s", "ratio", "peak MiB");
  std::printf(
      "# limit: replay of the statements this run sent; for 'unchanged', of the\n"
      "# statements an import writing every row sends (the row below)\n");
  for (const int count : counts) bench.Measure(count, count >= 100000 ? 1 : 7);
  if (!bench.AllPeaksReset())
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
