// The offline grace of a deployment, against a private MariaDB, the HTTPS
// cloud fixture and, for answers the cloud fixture never gives (server
// errors, odd bodies), the HTTPS fixture server: which synchronisations are
// recorded in nrtsync, and which failures of the cloud a recent record lets a
// start get past.

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "db/TDbConnection.h"
#include "rules/RuleSync.h"
#include "rules/SyncRecord.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/http/HttpFixtureServer.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

constexpr const char* kCnpj = "12.345.678/0001-90";
constexpr const char* kRulesPath = "/functions/v1/regras-por-cnpj";
constexpr int kGraceHours = 2;
constexpr const char* kCannotUpdate = "Não foi possível atualizar as regras fiscais: ";

class OfflineStart : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    test::CreateCompany(Server(), Database(), kCnpj);
    site_ = std::make_unique<test::SyncSite>(Server(), Database(), cloud_);
  }

  // The site with a grace, its cloud the cloud fixture.
  Installation WithGrace(int hours = kGraceHours) const {
    Installation here = site_->Here();
    here.deployment.offlineGraceHours = hours;
    return here;
  }
  // The same, its cloud the HTTPS fixture server answering this.
  Installation Answering(int status, const std::string& body) {
    if (!http_) http_ = std::make_unique<test::HttpFixtureServer>();
    test::FixtureReply reply;
    reply.status = status;
    reply.body = body;
    reply.contentType = "application/json";
    reply.charset = "utf-8";
    http_->SetReply(kRulesPath, reply);
    Installation here = WithGrace();
    here.deployment.cloudUrl = http_->HttpsBase() + kRulesPath;
    here.deployment.cloudCaFile = http_->CaFile();
    return here;
  }
  // The same, its cloud a port nobody listens on.
  Installation Unreachable() const {
    Installation here = WithGrace();
    here.deployment.cloudUrl =
        "https://127.0.0.1:" + std::to_string(test::MariaDbServer::UnusedPort()) + kRulesPath;
    return here;
  }

  // The error SyncTaxRules raised; "" when it returned.
  std::string Sync(const Installation& here) {
    try {
      SyncTaxRules(app_, here);
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  std::string Value(const std::string& sql) {
    return Server().QueryValue(sql, Database()).value_or("NULL");
  }
  bool RecordTableExists() {
    return Value("SELECT COUNT(*) FROM information_schema.tables WHERE table_schema = '" +
                 Database() + "' AND table_name = 'nrtsync'") == "1";
  }
  // Whether the company's record was written within the last minute.
  bool RecordedJustNow() {
    return RecordTableExists() &&
           Value("SELECT COUNT(*) FROM nrtsync WHERE nrscnpj = '" + std::string(kCnpj) +
                 "' AND nrsquando BETWEEN NOW() - INTERVAL 1 MINUTE AND NOW()") == "1";
  }
  std::string Codes() {
    return Value("SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt");
  }

  test::CloudFixtureServer cloud_;
  std::unique_ptr<test::HttpFixtureServer> http_;
  std::unique_ptr<test::SyncSite> site_;
  test::RecordingApplication app_;
};

std::string Rules(const std::vector<net::Json>& rules) { return net::Json(rules).dump(); }

// Without a grace nothing is kept, and a record another build left behind
// changes nothing: an unreachable cloud still ends the run.
TEST_F(OfflineStart, WithoutAGraceNothingIsRecordedNorLookedAt) {
  cloud_.SetRules(kCnpj, Rules({test::SampleRule("M1")}));
  ASSERT_EQ(Sync(WithGrace(0)), "");
  EXPECT_EQ(Codes(), "M1");
  EXPECT_FALSE(RecordTableExists());

  ASSERT_EQ(Sync(WithGrace()), "");
  ASSERT_TRUE(RecordedJustNow());
  Installation away = Unreachable();
  away.deployment.offlineGraceHours = 0;
  EXPECT_EQ(Sync(away).rfind("REST request failed: ", 0), 0u);
  EXPECT_TRUE(app_.messages.empty());
}

// Only an answer the service meant, every record of it written, is a
// complete synchronisation.
TEST_F(OfflineStart, OnlyAnAnswerWrittenInFullIsRecorded) {
  net::Json badDate = test::SampleRule("M3");
  badDate["data_inicio"] = "2026-13-01";
  struct Case {
    int status;
    std::string body;
    std::string error;
    bool recorded;
    std::string codes;  // in the table afterwards: answers without rules write none
  };
  const std::vector<Case> cases = {
      {200, "[]", "", true, "NULL"},
      {200, R"({"rows":[]})", "", true, "NULL"},
      {404, R"({"error":"No records found"})", "", true, "NULL"},
      {200, R"({"error":"Edge function crashed"})", "", false, "NULL"},
      {200, "", "", false, "NULL"},
      // A server error is never one, whatever its body holds.
      {503, "[]", "", false, "NULL"},
      {200, Rules({test::SampleRule("M1"), test::SampleRule("M2")}), "", true, "M1,M2"},
      {200, Rules({test::SampleRule("M1"), badDate}), "Data ISO inválida", false, "M1,M2"},
      {200, "<html><body>Bad Gateway</body></html>", "JSON inválido", false, "M1,M2"},
  };
  for (const auto& [status, body, error, recorded, codes] : cases) {
    SCOPED_TRACE(std::to_string(status) + " " + body);
    Server().Execute("DROP TABLE IF EXISTS nrtsync", Database());
    EXPECT_EQ(Sync(Answering(status, body)), error);
    EXPECT_EQ(RecordedJustNow(), recorded);
    EXPECT_EQ(Codes(), codes);
  }
  EXPECT_TRUE(app_.messages.empty());
}

// After a complete synchronisation, each way the cloud may fail, with the
// record as it then stands: a recent one lets the run end normally after one
// message; anything else fails as without a grace. The record is written
// again before each case, so it also moves forward.
TEST_F(OfflineStart, AFailingCloudIsGotPastOnlyWithARecentRecord) {
  const std::string html = "<html><body>Bad Gateway</body></html>";
  const std::string refused = "REST request failed: ";
  const std::string answered = "o serviço de regras respondeu HTTP ";
  struct Case {
    int status;  // 0: nobody listens
    std::string body;
    std::string record;  // SQL run on the record before the start
    bool goesOn;
    std::string why;  // the message's reason when it goes on, else the error's start
  };
  const std::vector<Case> cases = {
      {0, "", "", true, refused},
      {503, html, "", true, answered + "503 Service Unavailable"},
      {500, "", "", true, answered + "500 Internal Server Error"},
      {0, "", "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL 119 MINUTE", true, refused},
      {0, "", "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL 121 MINUTE", false, refused},
      // A clock that was set back.
      {0, "", "UPDATE nrtsync SET nrsquando = NOW() + INTERVAL 1 HOUR", false, refused},
      {0, "", "UPDATE nrtsync SET nrscnpj = '98765432000199'", false, refused},
      {0, "", "DROP TABLE nrtsync", false, refused},
      // Without a recent record a server error's body is read as before.
      {503, html, "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL 1 DAY", false, "JSON inválido"},
      {404, html, "", false, "JSON inválido"},
      {200, html, "", false, "JSON inválido"},
  };
  for (const auto& [status, body, record, goesOn, why] : cases) {
    SCOPED_TRACE(std::to_string(status) + " " + record);
    app_.messages.clear();
    cloud_.SetRules(kCnpj, Rules({test::SampleRule("M1")}));
    ASSERT_EQ(Sync(WithGrace()), "");
    ASSERT_TRUE(RecordedJustNow());
    if (!record.empty()) Server().Execute(record, Database());

    const std::string raised = Sync(status == 0 ? Unreachable() : Answering(status, body));
    // The rules in the table stay as the last synchronisation left them.
    EXPECT_EQ(Codes(), "M1");
    if (!goesOn) {
      EXPECT_EQ(raised.substr(0, why.size()), why) << raised;
      EXPECT_TRUE(app_.messages.empty());
      continue;
    }
    EXPECT_EQ(raised, "");
    ASSERT_EQ(app_.messages.size(), 1u);
    const std::string& message = app_.messages[0];
    EXPECT_EQ(message.substr(0, std::string(kCannotUpdate).size() + why.size()),
              kCannotUpdate + why)
        << message;
    // The record, which a start that goes on leaves as it was.
    const std::string shown = Value("SELECT DATE_FORMAT(nrsquando, '%d/%m/%Y %H:%i') FROM nrtsync");
    EXPECT_EQ(message.substr(message.find('\n') + 1),
              "As regras em uso são as da última sincronização completa, em " + shown + ".")
        << message;
  }
}

// Workstations that finish together, on a database without the table: each
// creates it when missing and writes the company's row, and none fails.
TEST_F(OfflineStart, WorkstationsRecordingTogetherAllSucceed) {
  constexpr int kWorkstations = 4;
  for (int round = 0; round < 5; ++round) {
    Server().Execute("DROP TABLE IF EXISTS nrtsync", Database());
    std::vector<std::string> errors(kWorkstations);
    std::latch start(kWorkstations);
    {
      std::vector<std::jthread> workstations;
      for (int i = 0; i < kWorkstations; ++i) {
        workstations.emplace_back([&, i] {
          start.arrive_and_wait();
          try {
            TDbConnection connection;
            Server().Configure(connection, Database());
            RecordCompleteSync(connection, kCnpj);
          } catch (const std::exception& error) {
            errors[i] = error.what();
          }
        });
      }
    }
    for (const auto& error : errors) EXPECT_EQ(error, "") << round;
    EXPECT_TRUE(RecordedJustNow()) << round;
    EXPECT_EQ(Value("SELECT COUNT(*) FROM nrtsync"), "1") << round;
  }
}

}  // namespace
}  // namespace rotalis
