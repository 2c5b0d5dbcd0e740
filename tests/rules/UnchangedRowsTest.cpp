// Leaving rows alone that a record would not change: the table must end byte
// for byte as if every row had been written. Random rule sets go into two
// databases, once with the skip and once without, and the tables are compared.

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "db/StoredValue.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "rules/RuleImport.h"
#include "rules/RuleTable.h"
#include "tests/rules/RuleRows.h"
#include "tests/support/cloud/SyncSite.h"
#include "tests/support/mariadb/MariaDbTest.h"

namespace rotalis {
namespace {

TEST(DecimalAsStored, RoundsHalfAwayFromZeroAndDeclinesWhatItCannotTell) {
  const std::map<std::string, std::string> rounded = {
      {"18", "18.000"},      {"0.0005", "0.001"},      {"0.00049999", "0.000"},
      {"12.9995", "13.000"}, {"999.9996", "1000.000"}, {"-1.2345", "-1.235"},
      {"1.65", "1.650"},     {".5", "0.500"},          {"007.1", "7.100"},
  };
  for (const auto& [literal, stored] : rounded)
    EXPECT_EQ(db::DecimalAsStored(literal, 3), stored) << literal;
  EXPECT_EQ(db::DecimalAsStored("2.5", 0), "3");
  for (const char* odd : {"1e-05", "-0.0004", "-0", "", ".", "1.2.3", " 1", "0x10", "-"})
    EXPECT_EQ(db::DecimalAsStored(odd, 3), std::nullopt) << odd;
}

class UnchangedRowsTest : public test::MariaDbTest {
 protected:
  void SetUp() override {
    MariaDbTest::SetUp();
    Server().Configure(skipping_, Database());
    Server().Configure(writing_, Server().CreateDatabase());
    for (TDbConnection* connection : {&skipping_, &writing_}) {
      TDbQuery create(*connection);
      EnsureRuleTable(create);
    }
  }

  static void Import(TDbConnection& connection, const RuleList& list, UnchangedRows unchanged) {
    TDbQuery rules(connection);
    rules.SQL().SetText(kRuleSelect);
    rules.Open();
    ImportRules(rules, list, unchanged);
  }

  static std::string Single(TDbConnection& connection, const std::string& sql,
                            const std::string& column) {
    TDbQuery query(connection);
    query.SQL().SetText(sql);
    query.Open();
    return query.FieldByName(column).AsString();
  }

  // Every row in key byte order, every column.
  std::string Dump(TDbConnection& connection) {
    return Single(connection,
                  "SELECT GROUP_CONCAT(" +
                      test::RuleRowExpression(Server(), connection.Database()) +
                      " ORDER BY BINARY nrtcodigo SEPARATOR '\\n') AS linhas FROM nrt",
                  "linhas");
  }

  static int Updates(TDbConnection& connection) {
    return std::stoi(Single(connection, "SHOW SESSION STATUS LIKE 'Com_update'", "Value"));
  }

  TDbConnection skipping_;
  TDbConnection writing_;
};

// Values near the edges of what the columns keep: rates on the rounding
// boundary, texts differing only in trailing blanks or letter case (equal to
// the collation, not in bytes), characters latin1 lacks, null and empty end
// dates.
class RandomRules {
 public:
  explicit RandomRules(unsigned seed) : random_(seed) {}

  // The rule with one member changed, or none.
  net::Json Vary(net::Json rule) {
    struct Choice {
      std::vector<const char*> members;
      std::vector<net::Json> values;
    };
    static const std::vector<Choice> kChoices = {
        {{"icm_interno", "icm_externo", "reducao_base_aliquota", "pis_aliquota", "cofins_aliquota",
          "ibs_aliquota_estadual", "ibs_aliquota_municipal", "cbs_aliquota", "reducao_cbs",
          "reducao_ibs"},
         {0, 0.0005, 0.00049999, 1.2345, 1.2355, 18, 18.0004, 18.0005, 7.6, 1.65, 12.9995, -0.0004,
          -1.2345, 0.1, 1e-05, 999.9995}},
        {{"identificacao"},
         {"Venda", "venda", "VENDA", "Venda ", "Venda  ", "Alíquota 'única' \\ \"x\"",
          "alíquota 'única' \\ \"x\"", "\xE2\x89\xA4 4% \xE2\x82\xAC", "Ação — 5%", ""}},
        {{"cfop_interno", "cst_icm_csosn", "cst_ipi", "cst_pis", "cst_cofins", "classificacao_is",
          "cst_ibscbs", "classificacao_cpresumido"},
         {"5102", "5102 ", "510", "01", "1"}},
        {{"regime_id"}, {1, 2, 3}},
        {{"data_fim"}, {"", nullptr, "2026-12-31", "2027-02-28"}},
        {{"data_inicio"}, {"2026-01-01", "2025-06-30"}},
    };
    const std::size_t pick = Pick(kChoices.size() + 1);
    if (pick == kChoices.size()) return rule;
    const Choice& choice = kChoices[pick];
    rule[choice.members[Pick(choice.members.size())]] = choice.values[Pick(choice.values.size())];
    return rule;
  }

  std::size_t Pick(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
  }

 private:
  std::mt19937 random_;
};

TEST_F(UnchangedRowsTest, RandomRuleSetsEndByteForByteAsIfEveryRowWereWritten) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomRules random(seed);
  std::map<std::string, net::Json> current;
  for (int i = 0; i < 40; ++i) {
    const std::string code = "R" + std::to_string(i);
    current[code] = test::SampleRule(code);
  }
  const int updatesBefore = Updates(skipping_);
  int sent = 0;
  for (int round = 0; round < 25; ++round) {
    std::vector<net::Json> rules;
    for (auto& [code, rule] : current) {
      if (random.Pick(3) == 0) rule = random.Vary(rule);
      if (random.Pick(4) != 0) rules.push_back(rule);
    }
    // One record twice: the second finds the row the first one wrote.
    if (!rules.empty()) rules.push_back(random.Vary(rules[random.Pick(rules.size())]));
    const RuleList list(rules.begin(), rules.end());
    sent += static_cast<int>(list.size());
    Import(skipping_, list, UnchangedRows::Skip);
    Import(writing_, list, UnchangedRows::Write);

    ASSERT_EQ(Dump(skipping_), Dump(writing_)) << "round " << round;
    // Byte for byte, where the text read back could hide a difference.
    ASSERT_EQ(Single(skipping_, "CHECKSUM TABLE nrt", "Checksum"),
              Single(writing_, "CHECKSUM TABLE nrt", "Checksum"))
        << "round " << round;
  }
  // Most rows were left alone, and some were not.
  const int updates = Updates(skipping_) - updatesBefore;
  EXPECT_GT(updates, 0);
  EXPECT_LT(updates, sent / 2);
}

// An answer that changes nothing sends nothing but the row set's SELECT.
TEST_F(UnchangedRowsTest, AnUnchangedAnswerSendsNoStatement) {
  std::vector<net::Json> rules;
  for (int i = 0; i < 50; ++i) rules.push_back(test::SampleRule("U" + std::to_string(i)));
  rules[3]["identificacao"] = "Ação — 5% \xE2\x89\xA4 'x' \\ ";
  rules[4]["data_fim"] = "2026-12-31";
  rules[5]["pis_aliquota"] = 1.6505;
  Import(skipping_, RuleList(rules.begin(), rules.end()), UnchangedRows::Skip);
  const int before = Updates(skipping_);
  Import(skipping_, RuleList(rules.begin(), rules.end()), UnchangedRows::Skip);
  EXPECT_EQ(Updates(skipping_), before);
  // A blank added at the end is equal to the collation, not to the bytes.
  rules[6]["identificacao"] = std::string(rules[6]["identificacao"]) + " ";
  Import(skipping_, RuleList(rules.begin(), rules.end()), UnchangedRows::Skip);
  EXPECT_EQ(Updates(skipping_), before + 1);
}

}  // namespace
}  // namespace rotalis
