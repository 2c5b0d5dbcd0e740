// The cloud request and the rule list cut out of its answer, against the
// HTTPS cloud fixture.

#include "rules/CloudRules.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "net/JsonText.h"
#include "net/RESTException.h"
#include "tests/support/cloud/CloudFixtureServer.h"

namespace rotalis {
namespace {

// What ExtractRuleList made of a body: how many rules, "none", or the error.
std::string ListOf(const std::string& body, const std::string& member = "") {
  try {
    const auto rules = ExtractRuleList(body, member);
    return rules ? std::to_string(rules->size()) + " rules" : "none";
  } catch (const std::exception& error) {
    return error.what();
  }
}

TEST(ExtractRuleList, TakesAnArrayOrTheRowsOfAnObjectAndRefusesWhatIsNotJson) {
  const struct {
    const char* body;
    const char* member;
    const char* outcome;
  } rows[] = {
      {R"([{"classificacao_ibscbs":"a"},{"classificacao_ibscbs":"b"}])", "", "2 rules"},
      {R"({"count":2,"rows":[{"x":"a"},{"x":"b"}]})", "", "2 rules"},
      {R"({"regras":[{"x":1}]})", "regras", "1 rules"},
      {R"({"regras":[1,2],"rows":[3]})", "regras", "2 rules"},
      {R"([[{"rows":[1]}],{"x":[2]}])", "", "2 rules"},
      {R"({"rows":[{"a":1}],"rows":7})", "", "none"},
      {R"({"rows":5})", "", "none"},
      {R"("rows")", "", "none"},
      {"42", "", "none"},
      {" ", "", "JSON inválido"},
      {"[1,2", "", "JSON inválido"},
      {"[\"\xC3\x28\"]", "", "JSON inválido"},
      {R"({"rows":[]} trailing)", "", "JSON inválido"},
      {R"({"rows":[]})", "regras", "Value 'regras' not found"},
      {R"({"regras":[],"regras":{}})", "regras",
       "Conversion from JSON object to array is not supported (value 'regras')"},
  };
  for (const auto& row : rows) EXPECT_EQ(ListOf(row.body, row.member), row.outcome) << row.body;
}

// What a read gave: the value as text, or the error's message.
template <typename Read>
std::string Outcome(Read read) {
  try {
    std::ostringstream text;
    text << std::setprecision(17) << read();
    return text.str();
  } catch (const std::exception& error) {
    return std::string("error: ") + error.what();
  }
}

// Taken element by element as the parser meets them and kept as compact
// records, the rules read exactly as the whole tree would: the same values,
// and the same error for a member that is missing or of another kind.
TEST(ExtractRuleList, RecordsReadAsTheTreeWould) {
  const char* body = R"({"rows":[{"regime_id":1}],"x":[[3],[4]],"rows":[
    {"classificacao_ibscbs":"A\"\\ \u00e7\u00e3o \ud83d\ude00","regime_id":-2147483648,
     "identificacao":null,"cfop_interno":true,"icm_interno":1e300,"cfop_externo":{"rows":[1]},
     "icm_externo":18446744073709551615,"reducao_base_aliquota":-0.0,"cst_icm_csosn":[1,[2]],
     "cst_ipi":"1","cst_ipi":"2","pis_aliquota":2147483648,"cst_cofins":"","cofins_aliquota":-7,
     "classificacao_is":12,"data_inicio":"2026-01-01","data_fim":"x","cbs_aliquota":0.1,
     "reducao_cbs":99999999999999999999,"reducao_ibs":"0.5","outro":{"a":[{}]}},
    {"regime_id":2147483647,"icm_interno":-9223372036854775808,"cbs_aliquota":1.5e-7},
    5, [6,[7]], null, "x", {}]})";
  const auto rules = ExtractRuleList(body);
  ASSERT_TRUE(rules);
  const net::Json tree = net::Json::parse(body)["rows"];
  ASSERT_EQ(rules->size(), tree.size());
  for (std::size_t i = 0; i < tree.size(); ++i) {
    for (std::size_t m = 0; m < kRuleMemberCount; ++m) {
      const auto member = static_cast<RuleMember>(m);
      const std::string name = RuleMemberName(member);
      const RuleRecord& record = (*rules)[i];
      const net::Json& element = tree[i];
      SCOPED_TRACE("rule " + std::to_string(i) + ", " + name);
      EXPECT_EQ(Outcome([&] { return record.Text(member); }),
                Outcome([&] { return net::GetValue<std::string>(element, name); }));
      EXPECT_EQ(Outcome([&] { return record.Integer(member); }),
                Outcome([&] { return net::GetValue<int>(element, name); }));
      EXPECT_EQ(Outcome([&] { return record.Number(member); }),
                Outcome([&] { return net::GetValue<double>(element, name); }));
    }
    // A record made from the element itself is the same record.
    EXPECT_EQ((*rules)[i], RuleRecord(tree[i])) << i;
  }
  // The same elements as a bare array give the same records.
  EXPECT_EQ(ExtractRuleList(tree.dump()), rules);
}

class FetchRulesTest : public testing::Test {
 protected:
  test::CloudFixtureServer cloud_{"anon-key.with.dots"};
};

// The CNPJ as it stands, escaped.
TEST_F(FetchRulesTest, SendsTheCnpjAskingForJson) {
  const std::string body = R"([{"classificacao_ibscbs":"000001"}])";
  cloud_.SetRules("12.345.678/0001-90", body);
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "12.345.678/0001-90"), body);

  const auto sent = cloud_.Requests().back();
  EXPECT_EQ(sent.method, "GET");
  EXPECT_EQ(sent.target, "/functions/v1/regras-por-cnpj?cnpj=12.345.678%2F0001-90");
  EXPECT_EQ(sent.accept, "application/json");
}

TEST_F(FetchRulesTest, OnlyTheExactNoRecordsAnswerIsEmptyAndTheStatusIsNotLookedAt) {
  cloud_.SetRules("22222222000122", R"({"error": "No records found"})");
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "22222222000122"),
            R"({"error": "No records found"})");

  Deployment wrongToken = cloud_.CloudDeployment();
  wrongToken.cloudToken = "someone-else";
  EXPECT_EQ(FetchRulesByCnpj(wrongToken, "22222222000122"),
            R"({"code":401,"message":"Invalid JWT"})");
}

TEST_F(FetchRulesTest, AServerOutsideTheDeploymentsCaIsRefused) {
  test::CloudFixtureServer other;
  Deployment untrusted = cloud_.CloudDeployment();
  untrusted.cloudCaFile = other.CaFile();
  try {
    FetchRulesByCnpj(untrusted, "1");
    ADD_FAILURE() << "a certificate of another CA was accepted";
  } catch (const net::ERESTException& error) {
#if defined(_WIN32)
    // Schannel's words: the chain check of the server's certificate failed.
    EXPECT_NE(std::string(error.what()).find("CertGetCertificateChain"), std::string::npos)
        << error.what();
#else
    EXPECT_NE(std::string(error.what()).find("certificate"), std::string::npos) << error.what();
#endif
  }
  // Refused in the handshake, before the request was sent.
  EXPECT_TRUE(cloud_.Requests().empty());
}

}  // namespace
}  // namespace rotalis
