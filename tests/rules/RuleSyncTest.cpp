// SyncTaxRules end to end: a private MariaDB, the HTTPS cloud fixture, and a
// recording user interface.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rules/RuleSync.h"
#include "rules/RuleTable.h"
#include "tests/rules/RuleRows.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/TimeZone.h"
#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbTest.h"
#include "update/UpdateDriver.h"

namespace rotalis {
namespace {

constexpr const char* kCnpj = "12.345.678/0001-90";
constexpr const char* kConnectionFailed = "Falhou na conexao com o banco por: ";

class RuleSyncTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    test::UseTimeZone("America/Sao_Paulo");
    test::CreateCompany(Server(), Database(), kCnpj);
    site_ = std::make_unique<test::SyncSite>(Server(), Database(), cloud_);
  }

  void Answer(const std::vector<net::Json>& rules) {
    cloud_.SetRules(kCnpj, net::Json(rules).dump());
  }

  // The error SyncTaxRules raised; "" when it returned.
  std::string Sync() {
    try {
      SyncTaxRules(app_, site_->Here());
      return "";
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  std::optional<std::string> Value(const std::string& sql) {
    return Server().QueryValue(sql, Database());
  }
  bool TableExists() {
    return Value("SELECT COUNT(*) FROM information_schema.tables WHERE table_schema = '" +
                 Database() + "' AND table_name = 'nrt'") == "1";
  }
  // Connections the server has accepted since it started, this query's own included.
  int Connections() {
    return std::stoi(Value("SELECT variable_value FROM information_schema.global_status "
                           "WHERE variable_name = 'CONNECTIONS'")
                         .value_or("0"));
  }
  std::string Codes() {
    return Value("SELECT GROUP_CONCAT(nrtcodigo ORDER BY nrtcodigo) FROM nrt").value_or("");
  }
  // `what` (a column, or an expression of them) of one row, SQL NULL as "NULL".
  std::string Field(const std::string& code, const std::string& what) {
    return Value("SELECT IFNULL(" + what + ", 'NULL') FROM nrt WHERE nrtcodigo = '" + code + "'")
        .value_or("(no row)");
  }
  std::string RowOf(const std::string& code) {
    return Field(code, test::RuleRowExpression(Server(), Database()));
  }
  // The COFINS column as the catalogue describes it: name, type, nullable.
  std::string CofinsColumn() {
    return Value(
               "SELECT CONCAT(column_name, ' ', column_type, ' ', is_nullable) FROM "
               "information_schema.columns WHERE table_schema = DATABASE() AND table_name = "
               "'nrt' AND column_name = 'csfcodigo'")
        .value_or("none");
  }

  test::CloudFixtureServer cloud_;
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
  EXPECT_EQ(CofinsColumn(), "csfcodigo varchar(5) NO");

  EXPECT_EQ(RowOf("000001"),
            "000001|000|5102|3|Operação tributável|1.235|6102|12.000|12.000|0.000|00|50|01|0.001|"
            "01|7.600|000001|01|0.100|0.000|2025-12-31|2026-12-31|0.900|0.000|0.000");
  EXPECT_EQ(Field("000002", "CONCAT_WS('|', IFNULL(nrtdata_fim, 'NULL'), nrtclassificacao_is)"),
            "NULL|");
  EXPECT_EQ(Field("000003", "CONCAT_WS('|', nrtdata_inicio, IFNULL(nrtdata_fim, 'NULL'))"),
            "2026-01-01|NULL");

  const auto requests = cloud_.Requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].cnpj, kCnpj);
  EXPECT_EQ(requests[0].authorization, "Bearer " + cloud_.Token());
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

  // The same answer again changes nothing and is no error.
  ASSERT_EQ(Sync(), "");
  EXPECT_EQ(Codes(), "A1,B2,C3,D4");
  EXPECT_TRUE(app_.messages.empty());
}

// The Windows build runs this same table: the rows are the same on both
// systems, whatever each system's own time functions reach.
TEST_F(RuleSyncTest, DatesAtTheEdgesOfTheCalendarAndOfSummerTimeGiveTheSameRows) {
  const struct {
    const char* start;
    const char* end;
    const char* startStored;
    const char* endStored;
  } cases[] = {
      {"0001-01-01T12:00:00Z", "9999-12-31T00:00:00Z", "0001-01-01", "9999-12-30"},
      {"1969-12-31T12:00:00Z", "9999-12-31", "1969-12-31", "9999-12-31"},
      {"1900-01-01T12:00:00Z", "2038-01-19T03:14:08Z", "1900-01-01", "2038-01-19"},
      {"2018-02-17T23:30:00Z", "2018-11-04T12:00:00Z", "2018-02-17", "2018-11-04"},
      // Summer time (UTC-2) moves these across midnight: its last night, the
      // hour before it began, and the summer carried over a new year.
      {"2018-02-17T02:30:00Z", "2018-11-04T02:30:00Z", "2018-02-17", "2018-11-03"},
      {"2019-01-01T02:30:00Z", "2019-11-10T02:30:00Z", "2019-01-01", "2019-11-09"},
      {"3000-12-31T23:59:59-03:00", "9999-12-31T23:59:59-03:00", "3000-12-31", "9999-12-31"},
  };
  std::vector<net::Json> rules;
  for (const auto& c : cases) {
    rules.push_back(test::SampleRule(std::to_string(rules.size())));
    rules.back()["data_inicio"] = c.start;
    rules.back()["data_fim"] = c.end;
  }
  Answer(rules);
  ASSERT_EQ(Sync(), "");
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(Field(std::to_string(i), "CONCAT(nrtdata_inicio, ' ', nrtdata_fim)"),
              std::string(cases[i].startStored) + " " + cases[i].endStored)
        << cases[i].start << " " << cases[i].end;
  }
}

TEST_F(RuleSyncTest, AnOlderTableIsMigratedOnlyWhenRulesCome) {
  // Its COFINS column, which the migration renames and tightens, is left alone
  // while no rules come and brought into shape by the first answer with rules.
  std::string create = kRuleTableCreateSql;
  const std::string cofins = "csfcodigo varchar(5) NOT NULL";
  create.replace(create.find(cofins), cofins.size(), "csFcodigo varchar(10) NULL");
  Server().Execute(create, Database());
  ASSERT_EQ(Sync(), "");  // the cloud knows no rules of the company
  EXPECT_EQ(CofinsColumn(), "csFcodigo varchar(10) YES");
  Answer({test::SampleRule("X")});
  ASSERT_EQ(Sync(), "");
  EXPECT_EQ(CofinsColumn(), "csfcodigo varchar(5) NO");
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

// Failures before any rule is read. A connection that fails is shown once and
// the run goes on to the company query, whose implicit connect raises the
// error for real; a cloud out of reach fails after the table is made.
TEST_F(RuleSyncTest, FailuresBeforeTheImportAreShownOrRaisedAndWriteNoRule) {
  test::TempFolder bare("rotalis-bare");  // no edition, no "morvane.ini"
  Installation unconfigured = site_->Here(), unreachable = site_->Here();
  unconfigured.folder = bare.Path();
  unconfigured.executablePath = bare / "rotalis";
  unreachable.deployment.cloudUrl =
      "https://127.0.0.1:" + std::to_string(test::MariaDbServer::UnusedPort()) +
      "/functions/v1/regras-por-cnpj";
  const std::string config = site_->Folder().Read("kelvaERP.ini");
  const std::string same = "(the error raised)";
  const struct {
    const char* what;
    const Installation& here;
    std::string setting;  // in the configuration file
    std::string shown;    // after kConnectionFailed; "" for no message
    std::string raised;   // the start of the error
    bool tableMade;
  } cases[] = {
      {"no configuration", unconfigured, "", same, "", false},
      {"wrong password", site_->Here(), "senha=errada", same,
       "Access denied for user 'root'@'127.0.0.1'", false},
      {"port no number", site_->Here(), "portabanco=33o6", "'33o6' is not a valid integer value",
       "", false},
      {"cloud out of reach", unreachable, "", "", "REST request failed: ", true},
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
    std::string error = "(no error)";
    try {
      SyncTaxRules(app_, c.here);
    } catch (const std::exception& raised) {
      error = raised.what();
    }
    EXPECT_NE(error, "(no error)");
    EXPECT_EQ(error.rfind(c.raised, 0), 0u) << error;
    if (c.shown.empty()) {
      EXPECT_TRUE(app_.messages.empty());
    } else {
      ASSERT_EQ(app_.messages.size(), 1u);
      EXPECT_EQ(app_.messages[0], kConnectionFailed + (c.shown == same ? error : c.shown));
    }
    EXPECT_EQ(TableExists(), c.tableMade);
  }
  EXPECT_TRUE(cloud_.Requests().empty());
}

// No company row and a company without a document (etddoc1 NULL) both ask
// for the rules without a CNPJ.
TEST_F(RuleSyncTest, ACompanyWithoutARowOrDocumentIsAskedForWithoutCnpj) {
  cloud_.SetRules(std::nullopt, net::Json({test::SampleRule("SEM")}).dump());
  Server().Execute("UPDATE etd SET etddoc1 = NULL", Database());
  ASSERT_EQ(Sync(), "");
  Server().Execute("UPDATE cfgmcfg SET cfgetdempresa = 99 WHERE cfgcodigo = 1", Database());
  ASSERT_EQ(Sync(), "");
  const auto requests = cloud_.Requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].target, "/functions/v1/regras-por-cnpj");
  EXPECT_EQ(requests[1].target, "/functions/v1/regras-por-cnpj");
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

}  // namespace
}  // namespace rotalis
