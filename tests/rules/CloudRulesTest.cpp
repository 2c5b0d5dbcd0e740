// The cloud request and the rule list cut out of its answer, against the
// HTTPS cloud fixture.

#include "rules/CloudRules.h"

#include <gtest/gtest.h>

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
  EXPECT_EQ((*bare)[1].Parsed()["classificacao_ibscbs"], "b");

  EXPECT_EQ(ExtractRuleList("[]"), RuleList{});
  EXPECT_EQ(ExtractRuleList(R"({"rows":[]})"), RuleList{});
  const auto named = ExtractRuleList(R"({"regras":[{"x":1}]})", "regras");
  ASSERT_TRUE(named);
  EXPECT_EQ(named->size(), 1u);
}

// Taken element by element as the parser meets them, the rules are still
// the ones the whole tree would hold: of any kind, nested values whole, and
// of a member named twice, the last one.
TEST(ExtractRuleList, TakesTheElementsTheWholeTreeWouldHold) {
  const char* body =
      R"({"rows":[{"a":[1,{"rows":[2]}]}],"x":[[3],[4]],"rows":[{"b":{"c":[]}},5,[6,[7]],null]})";
  const auto rules = ExtractRuleList(body);
  ASSERT_TRUE(rules);
  const net::Json tree = net::Json::parse(body)["rows"];
  ASSERT_EQ(rules->size(), tree.size());
  for (std::size_t i = 0; i < tree.size(); ++i) EXPECT_EQ((*rules)[i].Parsed(), tree[i]) << i;
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
