// SyncTaxRules end to end: a private MariaDB, the HTTPS cloud fixture (and,
// for answers it never gives, the HTTPS fixture server) and a recording user
// interface. With an offline grace, complete synchronisations are recorded in
// nrtsync and a recent record lets a start get past a failing cloud.

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "db/TDbConnection.h"
#include "rules/RuleSync.h"
#include "rules/RuleTable.h"
#include "rules/SyncRecord.h"
#include "tests/rules/RuleRows.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/TimeZone.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/http/HttpFixtureServer.h"
#include "tests/support/mariadb/MariaDbTest.h"
#include "update/UpdateDriver.h"

namespace rotalis {
namespace {

constexpr const char* kCnpj = "12.345.678/0001-90";
constexpr const char* kRulesPath = "/functions/v1/regras-por-cnpj";
constexpr int kGraceHours = 2;
constexpr const char* kConnectionFailed = "Falhou na conexao com o banco por: ";
constexpr const char* kCannotUpdate = "Não foi possível atualizar as regras fiscais: ";

std::string Rules(const std::vector<net::Json>& rules) { return net::Json(rules).dump(); }

class RuleSyncTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    test::UseTimeZone("America/Sao_Paulo");
    test::CreateCompany(Server(), Database(), kCnpj);
    site_ = std::make_unique<test::SyncSite>(Server(), Database(), cloud_);
  }

  void Answer(const std::vector<net::Json>& rules) { cloud_.SetRules(kCnpj, Rules(rules)); }

  // The site with an offline grace, its cloud the cloud fixture.
  Installation WithGrace(int hours = kGraceHours) const {
    Installation here = site_->Here();
    here.deployment.offlineGraceHours = hours;
    return here;
  }
  // The same, its cloud the HTTPS fixture server answering this.
  Installation Answering(int status, const std::string& body) {
    if (!http_) http_ = std::make_unique<test::HttpFixtureServer>();
    http_->SetReply(kRulesPath, test::Reply(status, body, "application/json", "utf-8"));
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
  std::string Sync() { return Sync(site_->Here()); }

  bool TableExists(const std::string& table) {
    return Value("SELECT COUNT(*) FROM information_schema.tables WHERE table_schema = '" +
                 Database() + "' AND table_name = '" + table + "'") == "1";
  }
  // Whether the company's record was written within the last minute.
  bool RecordedJustNow() {
    return TableExists("nrtsync") &&
           Value("SELECT COUNT(*) FROM nrtsync WHERE nrscnpj = '" + std::string(kCnpj) +
                 "' AND nrsquando BETWEEN NOW() - INTERVAL 1 MINUTE AND NOW()") == "1";
  }
  // Connections the server has accepted since it started, this query's own included.
  int Connections() {
    return std::stoi(
        Value("SELECT variable_value FROM information_schema.global_status "
              "WHERE variable_name = 'CONNECTIONS'"));
  }
  std::string Codes() {
    return Value("SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt");
  }
  // `what` (a column, or an expression of them) of one row, SQL NULL as "NULL".
  std::string Field(const std::string& code, const std::string& what) {
    return Value("SELECT IFNULL(" + what + ", 'NULL') FROM nrt WHERE nrtcodigo = '" + code + "'");
  }
  std::string RowOf(const std::string& code) {
    return Field(code, test::RuleRowExpression(Server(), Database()));
  }

  test::CloudFixtureServer cloud_;
  std::unique_ptr<test::HttpFixtureServer> http_;
  std::unique_ptr<test::SyncSite> site_;
  test::RecordingApplication app_;
};

TEST_F(RuleSyncTest, FirstSyncFillsAnEmptyDatabase) {
  net::Json full = test::SampleRule("000001");
  full["identificacao"] = "Operação tributável";
  full["icm_interno"] = 1.23456;
  full["icm_externo"] = 12;
  full["pis_aliquota"] = 0.0005;                 // rounds half away from zero
  full["data_inicio"] = "2026-01-01T02:30:00Z";  // 31/12/2025 23:30 in São Paulo
  full["data_fim"] = "2026-12-31";
  net::Json open = test::SampleRule("000002");
  open["data_fim"] = nullptr;
  open["classificacao_is"] = nullptr;
  net::Json empty = test::SampleRule("000003");
  Answer({full, open, empty});

  const int connectionsBefore = Connections();
  EXPECT_EQ(Sync(), "");
  // The session closes before the cloud is asked and opens again to write:
  // two connections (the third is the one that counts them).
  EXPECT_EQ(Connections() - connectionsBefore, 3);
  EXPECT_TRUE(app_.messages.empty());
  EXPECT_EQ(Codes(), "000001,000002,000003");

  EXPECT_EQ(RowOf("000001"),
            "000001|000|5102|3|Operação tributável|1.235|6102|12.000|12.000|0.000|00|50|01|0.001|"
            "01|7.600|000001|01|0.100|0.000|2025-12-31|2026-12-31|0.900|0.000|0.000");
  EXPECT_EQ(Field("000002", "CONCAT_WS('|', IFNULL(nrtdata_fim, 'NULL'), nrtclassificacao_is)"),
            "NULL|");
  EXPECT_EQ(Field("000003", "CONCAT_WS('|', nrtdata_inicio, IFNULL(nrtdata_fim, 'NULL'))"),
            "2026-01-01|NULL");
  ASSERT_EQ(cloud_.Requests().size(), 1u);
  EXPECT_EQ(cloud_.Requests()[0].cnpj, kCnpj);
}

TEST_F(RuleSyncTest, SecondSyncUpdatesInPlaceInsertsNewAndKeepsVanishedRules) {
  net::Json a = test::SampleRule("A1");
  a["data_fim"] = "2026-06-30";
  net::Json b = test::SampleRule("B2");
  Answer({a, b});
  ASSERT_EQ(Sync(), "");
  const std::string vanished = RowOf("B2");

  a["identificacao"] = "Alterada";
  a["icm_interno"] = 7;
  a["data_fim"] = "";  // an open end never erases a stored one
  net::Json c = test::SampleRule("C3");
  net::Json first = test::SampleRule("D4");
  first["identificacao"] = "primeira";
  net::Json last = test::SampleRule("D4");
  last["identificacao"] = "última";
  Answer({c, a, first, last});
  ASSERT_EQ(Sync(), "");

  EXPECT_EQ(Codes(), "A1,B2,C3,D4");
  EXPECT_EQ(Field("A1", "CONCAT_WS('|', nrtidentificacao, nrticm_interno, nrtdata_fim)"),
            "Alterada|7.000|2026-06-30");
  EXPECT_EQ(RowOf("B2"), vanished);
  EXPECT_EQ(Field("C3", "nrtidentificacao"), "Venda de mercadoria C3");
  EXPECT_EQ(Field("D4", "nrtidentificacao"), "última");
  EXPECT_TRUE(app_.messages.empty());
}

TEST_F(RuleSyncTest, AnOlderTableIsMigratedOnlyWhenRulesCome) {
  // Its COFINS column, which the migration renames and tightens, is left alone
  // while no rules come and brought into shape by the first answer with rules.
  const auto cofins = [this] {
    return Value(
        "SELECT CONCAT_WS(' ', column_name, column_type, is_nullable) FROM "
        "information_schema.columns WHERE table_schema = DATABASE() AND table_name = 'nrt' AND "
        "column_name = 'csfcodigo'");
  };
  std::string create = kRuleTableCreateSql;
  const std::string column = "csfcodigo varchar(5) NOT NULL";
  create.replace(create.find(column), column.size(), "csFcodigo varchar(10) NULL");
  Server().Execute(create, Database());
  ASSERT_EQ(Sync(), "");  // the cloud knows no rules of the company
  EXPECT_EQ(cofins(), "csFcodigo varchar(10) YES");
  Answer({test::SampleRule("X")});
  ASSERT_EQ(Sync(), "");
  EXPECT_EQ(cofins(), "csfcodigo varchar(5) NO");
  EXPECT_EQ(Codes(), "X");
  EXPECT_TRUE(app_.messages.empty());
}

TEST_F(RuleSyncTest, AFailingRecordStopsTheImportAfterTheRowsBeforeIt) {
  struct Case {
    const char* member;
    net::Json value;
    std::string error;
  };
  const std::vector<Case> cases = {
      {"data_inicio", "2026-13-01", "Data ISO inválida"},
      {"data_fim", "2026-02-30", "Data ISO inválida"},
      {"cst_pis", nullptr, ""},  // null text is empty text: no failure
      {"pis_aliquota", nullptr,
       "Conversion from JSON null to Double is not supported (value 'pis_aliquota')"},
      {"regime_id", "3",
       "Conversion from JSON string to Integer is not supported (value 'regime_id')"},
      {"cfop_interno", "510200", "Data too long for column 'nrtcfop_interno' at row 1"},
      // A discarded value leaves the member out.
      {"cst_cofins", net::Json(net::Json::value_t::discarded), "Value 'cst_cofins' not found"},
  };
  for (const auto& [member, value, error] : cases) {
    Server().Execute("DROP TABLE IF EXISTS nrt", Database());
    net::Json bad = test::SampleRule("M2");
    value.is_discarded() ? void(bad.erase(member)) : void(bad[member] = value);
    Answer({test::SampleRule("M1"), bad, test::SampleRule("M3")});
    EXPECT_EQ(Sync(), error) << member;
    EXPECT_EQ(Codes(), error.empty() ? "M1,M2,M3" : "M1") << member;
  }

  // Keys are compared with their case, so "m1" is new to the import; the
  // case-insensitive collation then refuses it as a duplicate of "M1". The
  // bad record after it, converted before "m1" was sent, keeps its error to
  // itself: the import stops at "m1".
  Server().Execute("DROP TABLE nrt", Database());
  net::Json badDate = test::SampleRule("M3");
  badDate["data_inicio"] = "2026-13-01";
  Answer({test::SampleRule("M1"), test::SampleRule("m1"), badDate});
  EXPECT_EQ(Sync(), "Duplicate entry 'm1' for key 'PRIMARY'");
  EXPECT_EQ(Codes(), "M1");
  EXPECT_TRUE(app_.messages.empty());
}

// Failures before any rule is read: a connection that fails is shown once and
// the run goes on to the company query, whose implicit connect raises the
// error for real.
TEST_F(RuleSyncTest, FailuresBeforeTheImportAreShownOrRaisedAndWriteNoRule) {
  test::TempFolder bare("rotalis-bare");  // no edition, no "morvane.ini"
  Installation unconfigured = site_->Here();
  unconfigured.folder = bare.Path();
  unconfigured.executablePath = bare / "rotalis";
  const std::string config = site_->Folder().Read("kelvaERP.ini");
  const std::string same = "(the error raised)";
  const struct {
    const char* what;
    Installation here;
    std::string setting;  // in the configuration file
    std::string shown;    // after kConnectionFailed
    std::string raised;   // the start of the error
  } cases[] = {
      {"no configuration", unconfigured, "", same, ""},
      {"wrong password", site_->Here(), "senha=errada", same,
       "Access denied for user 'root'@'127.0.0.1' (using password: YES)"},
      {"port no number", site_->Here(), "portabanco=33o6", "'33o6' is not a valid integer value",
       ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string ini = config;
    if (!c.setting.empty()) {
      const auto at = ini.find(c.setting.substr(0, c.setting.find('=') + 1));
      ini.replace(at, ini.find("\r\n", at) - at, c.setting);
    }
    site_->Folder().Write("kelvaERP.ini", ini);
    app_.messages.clear();
    const std::string error = Sync(c.here);
    EXPECT_NE(error, "");
    EXPECT_EQ(error.rfind(c.raised, 0), 0u) << error;
    ASSERT_EQ(app_.messages.size(), 1u);
    EXPECT_EQ(app_.messages[0], kConnectionFailed + (c.shown == same ? error : c.shown));
    EXPECT_FALSE(TableExists("nrt"));
  }
  EXPECT_TRUE(cloud_.Requests().empty());
}

// No company row and a company without a document (etddoc1 NULL) both ask
// for the rules without a CNPJ.
TEST_F(RuleSyncTest, ACompanyWithoutARowOrDocumentIsAskedForWithoutCnpj) {
  cloud_.SetRules(std::nullopt, Rules({test::SampleRule("SEM")}));
  Server().Execute("UPDATE etd SET etddoc1 = NULL", Database());
  ASSERT_EQ(Sync(), "");
  Server().Execute("UPDATE cfgmcfg SET cfgetdempresa = 99 WHERE cfgcodigo = 1", Database());
  ASSERT_EQ(Sync(), "");
  const auto requests = cloud_.Requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].cnpj, std::nullopt);
  EXPECT_EQ(requests[1].cnpj, std::nullopt);
  EXPECT_EQ(Codes(), "SEM");
}

// The rules come first, whether or not the update server answers a ping.
TEST_F(RuleSyncTest, RunUpdateSynchronisesTheRulesWhenTheUpdateServerIsOutOfReach) {
  Answer({test::SampleRule("M1")});
  Installation here = site_->Here();
  here.deployment.updateServer = "";  // no address: no ping reply, no traffic
  RunUpdate(app_, here);
  EXPECT_EQ(Codes(), "M1");
  EXPECT_EQ(app_.terminateCalls, 0);
  // Without the update server, the version is not recorded either.
  EXPECT_EQ(site_->Folder().Read("kelvaERP.ini").find("Versao"), std::string::npos);
}

// Only an answer the service meant, every record of it written, is a
// complete synchronisation.
TEST_F(RuleSyncTest, OnlyAnAnswerWrittenInFullIsRecorded) {
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
// message; anything else, or a run without a grace, fails as without a
// record. The record is written again before each case, so it also moves
// forward.
TEST_F(RuleSyncTest, AFailingCloudIsGotPastOnlyWithARecentRecord) {
  const std::string html = "<html><body>Bad Gateway</body></html>";
  const std::string refused = "REST request failed: ";
  const std::string answered = "o serviço de regras respondeu HTTP ";
  struct Case {
    int status;  // 0: nobody listens
    std::string body;
    std::string record;  // SQL run on the record before the start
    bool goesOn;
    std::string why;  // the message's reason when it goes on, else the error's start
    int grace = kGraceHours;
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
      // A build without a grace does not look at a record another one left.
      {0, "", "", false, refused, 0},
      // Without a recent record a server error's body is read as before.
      {503, html, "UPDATE nrtsync SET nrsquando = NOW() - INTERVAL 1 DAY", false, "JSON inválido"},
      {404, html, "", false, "JSON inválido"},
      {200, html, "", false, "JSON inválido"},
  };
  for (const auto& [status, body, record, goesOn, why, grace] : cases) {
    SCOPED_TRACE(std::to_string(status) + " " + record + " " + std::to_string(grace));
    app_.messages.clear();
    Answer({test::SampleRule("M1")});
    ASSERT_EQ(Sync(WithGrace()), "");
    ASSERT_TRUE(RecordedJustNow());
    if (!record.empty()) Server().Execute(record, Database());

    Installation here = status == 0 ? Unreachable() : Answering(status, body);
    here.deployment.offlineGraceHours = grace;
    const std::string raised = Sync(here);
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
TEST_F(RuleSyncTest, WorkstationsRecordingTogetherAllSucceed) {
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
