#include "rules/SyncRecord.h"

#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "rules/RuleTable.h"

namespace rotalis {

const char* const kSyncRecordCreateSql =
    "CREATE TABLE IF NOT EXISTS nrtsync ( nrscnpj varchar(20) NOT NULL, nrsquando DATETIME NOT "
    "NULL, PRIMARY KEY (nrscnpj)) ENGINE = INNODB CHARACTER SET latin1 COLLATE latin1_swedish_ci";

void RecordCompleteSync(TDbConnection& connection, const std::string& cnpj) {
  TDbQuery query(connection);
  EnsureTable(query, "nrtsync", kSyncRecordCreateSql);
  query.Close();
  // One statement: of two workstations ending together, neither meets the
  // other's row as a duplicate key.
  query.SQL().SetText("INSERT INTO nrtsync (nrscnpj, nrsquando) VALUES (" +
                      connection.QuoteValue(cnpj) +
                      ", NOW()) ON DUPLICATE KEY UPDATE nrsquando = NOW()");
  query.ExecSQL();
}

std::optional<std::string> RecentCompleteSync(TDbConnection& connection, const std::string& cnpj,
                                              int graceHours) {
  TDbQuery query(connection);
  // Compared on the server: a workstation's own clock never counts.
  query.SQL().SetText(
      "SELECT DATE_FORMAT(nrsquando, '%d/%m/%Y %H:%i') AS quando FROM nrtsync WHERE nrscnpj = " +
      connection.QuoteValue(cnpj) + " AND nrsquando > NOW() - INTERVAL " +
      std::to_string(graceHours) + " HOUR AND nrsquando <= NOW()");
  query.Open();
  if (query.Eof()) return std::nullopt;
  return query.FieldByName("quando").AsString();
}

}  // namespace rotalis
