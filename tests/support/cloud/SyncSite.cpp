#include "tests/support/cloud/SyncSite.h"

#include "tests/support/cloud/CloudFixtureServer.h"
#include "tests/support/mariadb/MariaDbServer.h"

namespace rotalis::test {

SyncSite::SyncSite(const MariaDbServer& server, const std::string& database,
                   const CloudFixtureServer& cloud)
    : folder_("rotalis-sync") {
  folder_.Write("KelvaERP.exe", "MZ");
  folder_.Write("kelvaERP.ini", server.ConfigurationIni(database));
  here_.executablePath = folder_ / "rotalis";
  here_.folder = folder_.Path();
  here_.deployment = cloud.CloudDeployment();
}

void CreateCompany(const MariaDbServer& server, const std::string& database,
                   const std::string& cnpj) {
  server.CreateErpTables(database);
  server.Execute(
      "INSERT INTO cfgmcfg VALUES (1, 10); INSERT INTO etd VALUES (10, 'Matriz', '" + cnpj + "')",
      database);
}

net::Json SampleRule(const std::string& code) {
  return {{"classificacao_ibscbs", code},
          {"regime_id", 3},
          {"identificacao", "Venda de mercadoria " + code},
          {"cfop_interno", "5102"},
          {"icm_interno", 18.0},
          {"cfop_externo", "6102"},
          {"icm_externo", 12.0},
          {"reducao_base_aliquota", 0.0},
          {"cst_icm_csosn", "00"},
          {"cst_ipi", "50"},
          {"cst_pis", "01"},
          {"pis_aliquota", 1.65},
          {"cst_cofins", "01"},
          {"cofins_aliquota", 7.6},
          {"classificacao_is", "000001"},
          {"cst_ibscbs", "000"},
          {"classificacao_cpresumido", "01"},
          {"ibs_aliquota_estadual", 0.1},
          {"ibs_aliquota_municipal", 0.0},
          {"data_inicio", "2026-01-01"},
          {"data_fim", ""},
          {"cbs_aliquota", 0.9},
          {"reducao_cbs", 0.0},
          {"reducao_ibs", 0.0}};
}

}  // namespace rotalis::test
