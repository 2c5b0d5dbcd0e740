#include "rules/RuleTable.h"

#include "db/TDbQuery.h"

namespace rotalis {
namespace {

constexpr const char* kRuleTableName = "nrt";

constexpr const char* kExistsSql =
    "SELECT COUNT(*) AS existe FROM information_schema.tables WHERE table_schema = DATABASE() "
    "AND table_name   = ";

constexpr const char* kMigrateSql =
    "ALTER TABLE nrt CHANGE COLUMN csFcodigo csfcodigo VARCHAR(5) NOT NULL ";

// An SQL string literal of a fixed name: quotes doubled, no other escaping.
std::string SqlString(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    quoted += c;
    if (c == '\'') quoted += '\'';
  }
  return quoted + "'";
}

}  // namespace

const char* const kRuleTableCreateSql =
    "CREATE TABLE IF NOT EXISTS nrt ( nrtcodigo varchar(100) NOT NULL, nrtcstibscbs varchar(5) "
    "NOT NULL,   nrtcfop_interno varchar(5) NOT NULL, crtcodigo int(11) NOT NULL, "
    "nrtidentificacao varchar(100) NOT NULL, nrticm_interno decimal(10, 3) NOT NULL, "
    "nrtcfop_externo varchar(5) NOT NULL, nrticm_externo decimal(10, 3) NOT NULL, "
    "nrtcombate_pobreza_aliquota decimal(10, 3) NOT NULL, nrtreducao_base_aliquota decimal(10, "
    "3) NOT NULL, cstcodigo varchar(5) NOT NULL, csicodigo varchar(5) NOT NULL, cspcodigo "
    "varchar(5) NOT NULL, pis_aliquota decimal(10, 3) NOT NULL, csfcodigo varchar(5) NOT NULL, "
    "cofins_aliquota decimal(10, 3) NOT NULL, nrtclassificacao_is varchar(50) NOT NULL, "
    "nrtclassificacao_cpresumido varchar(50) NOT NULL, nrtibs_aliquota_estadual decimal(10, 3) "
    "NOT NULL, nrtibs_aliquota_municipal decimal(10, 3) NOT NULL DEFAULT 0.000, nrtdata_inicio "
    "date NOT NULL, nrtdata_fim date DEFAULT NULL, nrtcbs_aliquota decimal(10, 3) DEFAULT NULL, "
    "nrtreducao_cbs decimal(10, 3) DEFAULT NULL, nrtreducao_ibs decimal(10, 3) DEFAULT NULL, "
    "PRIMARY KEY (nrtcodigo)) ENGINE = INNODB CHARACTER SET latin1 COLLATE latin1_swedish_ci "
    "ROW_FORMAT = DYNAMIC";

void EnsureRuleTable(TDbQuery& query) { EnsureTable(query, kRuleTableName, kRuleTableCreateSql); }

void EnsureTable(TDbQuery& query, const std::string& name, const char* createSql) {
  query.SQL().SetText(kExistsSql + SqlString(name));
  query.Open();
  if (query.FieldByName("existe").AsInteger() == 0) {
    query.Close();
    query.SQL().SetText(createSql);
    query.ExecSQL();
  }
}

void MigrateRuleTable(TDbQuery& query) {
  query.SQL().SetText(kMigrateSql);
  query.ExecSQL();
}

}  // namespace rotalis
