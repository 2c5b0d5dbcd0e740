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

std::string ErrorOf(const std::string& body, const std::string& member = "") {
  try {
    ExtractRuleList(body, member);
    return "no error";
  } catch (const std::exception& error) {
    return error.what();
  }
}

TEST(ExtractRuleList, TakesAnArrayOrTheRowsOfAnObject) {
  const auto bare =
      ExtractRuleList(R"([{"classificacao_ibscbs":"a"},{"classificacao_ibscbs":"b"}])");
  const auto wrapped = ExtractRuleList(
      R"({"count":2,"rows":[{"classificacao_ibscbs":"a"},{"classificacao_ibscbs":"b"}]})");
  ASSERT_TRUE(bare && wrapped);
  EXPECT_EQ(*bare, *wrapped);
  ASSERT_EQ(bare->size(), 2u);
  EXPECT_EQ((*bare)[1].Text(RuleMember::classificacao_ibscbs), "b");

  EXPECT_EQ(ExtractRuleList("[]"), RuleList{});
  EXPECT_EQ(ExtractRuleList(R"({"rows":[]})"), RuleList{});
  const auto named = ExtractRuleList(R"({"regras":[{"x":1}]})", "regras");
  ASSERT_TRUE(named);
  EXPECT_EQ(named->size(), 1u);
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
  EXPECT_EQ(ExtractRuleList(R"({"rows":[{"a":1}],"rows":7})"), std::nullopt);
  const auto nested = ExtractRuleList(R"([[{"rows":[1]}],{"x":[2]}])");
  ASSERT_TRUE(nested);
  EXPECT_EQ(nested->size(), 2u);
  EXPECT_EQ(ExtractRuleList(R"({"regras":[1,2],"rows":[3]})", "regras")->size(), 2u);
}

TEST(ExtractRuleList, YieldsNothingWithoutAnArrayToTake) {
  for (const char* body :
       {R"({"error":"No records found"})", R"({"error": "No records found"})", R"({"rows":5})",
        R"({"rows":{"a":1}})", R"({"rows":null})", R"("rows")", "42", "null", "true"}) {
    EXPECT_EQ(ExtractRuleList(body), std::nullopt) << body;
  }
}

TEST(ExtractRuleList, RefusesWhatIsNotJson) {
  for (const char* body : {"<html><body>502 Bad Gateway</body></html>", "", " ", R"({"a":})",
                           "[1,2", "[\"\xC3\x28\"]", R"({"rows":[]} trailing)"}) {
    EXPECT_EQ(ErrorOf(body), "JSON inválido") << body;
  }
  EXPECT_EQ(ErrorOf(R"({"rows":[]})", "regras"), "Value 'regras' not found");
  EXPECT_EQ(ErrorOf(R"({"regras":[],"regras":{}})", "regras"),
            "Conversion from JSON object to array is not supported (value 'regras')");
}

class FetchRulesTest : public testing::Test {
 protected:
  test::CloudFixtureServer cloud_{"anon-key.with.dots"};
};

TEST_F(FetchRulesTest, SendsTheCnpjAsItStandsWithTheTokenAndAskingForJson) {
  const std::string body = R"([{"classificacao_ibscbs":"000001"}])";
  cloud_.SetRules("12.345.678/0001-90", body);
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "12.345.678/0001-90"), body);

  const auto requests = cloud_.Requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].target, "/functions/v1/regras-por-cnpj?cnpj=12.345.678%2F0001-90");
  EXPECT_EQ(requests[0].authorization, "Bearer anon-key.with.dots");
  EXPECT_EQ(requests[0].accept, "application/json");
}

TEST_F(FetchRulesTest, ABlankCnpjIsLeftOutOfTheRequest) {
  cloud_.SetRules(std::nullopt, "[]");
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "   "), "[]");
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), ""), "[]");
  for (const auto& request : cloud_.Requests()) {
    EXPECT_EQ(request.target, "/functions/v1/regras-por-cnpj");
    EXPECT_EQ(request.cnpj, std::nullopt);
  }
}

TEST_F(FetchRulesTest, OnlyTheExactNoRecordsAnswerIsEmptyAndTheStatusIsNotLookedAt) {
  // No rule file: the fixture answers 404 with the service's own text.
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "11111111000111"), "");
  cloud_.SetRules("22222222000122", R"({"error": "No records found"})");
  EXPECT_EQ(FetchRulesByCnpj(cloud_.CloudDeployment(), "22222222000122"),
            R"({"error": "No records found"})");

  Deployment wrongToken = cloud_.CloudDeployment();
  wrongToken.cloudToken = "someone-else";
  EXPECT_EQ(FetchRulesByCnpj(wrongToken, "22222222000122"),
            R"({"code":401,"message":"Invalid JWT"})");
  EXPECT_EQ(cloud_.Requests().back().status, 401);
}

TEST_F(FetchRulesTest, AServerOutsideTheDeploymentsCaIsRefused) {
  test::CloudFixtureServer other;
  Deployment untrusted = cloud_.CloudDeployment();
  untrusted.cloudCaFile = other.CaFile();
  try {
    FetchRulesByCnpj(untrusted, "1");
    ADD_FAILURE() << "a certificate of another CA was accepted";
  } catch (const net::ERESTException& error) {
    EXPECT_EQ(std::string(error.what()).rfind("REST request failed: ", 0), 0u) << error.what();
  }
}

}  // namespace
}  // namespace rotalis
