// SyncTaxRules: configuration, guarded connection, company, rule table, cloud,
// then every rule written by its key.

#include "rules/RuleSync.h"

#include <exception>
#include <optional>
#include <string>

#include "config/ConfigFile.h"
#include "db/DbConvert.h"
#include "db/TDbConnection.h"
#include "db/TDbQuery.h"
#include "db/TMySQLProvider.h"
#include "rules/CloudRules.h"
#include "rules/RuleImport.h"
#include "rules/RuleImportLock.h"
#include "rules/RuleTable.h"

namespace rotalis {

namespace {

constexpr const char* kConnectionFailed = "Falhou na conexao com o banco por: ";

// The company whose rules are asked for: the ERP's configuration row 1 names it.
constexpr const char* kCompanyQuery = "SELECT etd.etdapelido, etd.etddoc1  FROM   cfgmcfg,   etd ";
constexpr const char* kCompanyQueryWhere =
    "WHERE etd.etdcodigo = cfgmcfg.cfgetdempresa AND cfgmcfg.cfgcodigo = 1 ";

// A failure here is only shown: the run goes on unconnected, and the first
// statement tries again and raises the error for real.
void ConnectOrShow(ui::Application& app, TDbConnection& connection,
                   const DatabaseSettings& settings) {
  try {
    connection.SetProviderName(TMySQLProvider::kName);
    connection.SetDatabase(settings.database);
    connection.SetServer(settings.server);
    connection.SetPassword(settings.password);
    connection.SetUsername(settings.user);
    connection.SetPort(PortFromSetting(settings.port));
    connection.Connect();
  } catch (const std::exception& error) {
    app.ShowMessage(kConnectionFailed + std::string(error.what()));
  }
}

// etddoc1 of the company row; empty text when the ERP names no company.
std::string CompanyCnpj(TDbQuery& query) {
  query.SQL().SetText(kCompanyQuery);
  query.SQL().Add(kCompanyQueryWhere);
  query.Open();
  std::string cnpj = query.Eof() ? std::string() : query.FieldByName("etddoc1").AsString();
  query.Close();
  return cnpj;
}

}  // namespace

void SyncTaxRules(ui::Application& app, const Installation& here) {
  const DatabaseSettings settings = ReadDatabaseSettings(ResolveConfigFile(here.folder));

  TMySQLProvider provider;
  TDbConnection connection;
  ConnectOrShow(app, connection, settings);

  TDbQuery query(connection);
  const std::string cnpj = CompanyCnpj(query);
  EnsureRuleTable(query);

  // The cloud may take long; no server session is held open meanwhile. The
  // next statement reconnects.
  connection.SetConnected(false);
  std::optional<RuleList> list;
  {
    // The body goes as soon as it is parsed: a large answer is held once, as JSON.
    const std::string body = FetchRulesByCnpj(here.deployment, cnpj);
    if (body.empty()) return;
    list = ExtractRuleList(body);
  }
  if (!list || list->empty()) return;

  // Held from the migration to the last row: a workstation that waited reads
  // the rows the one before it wrote, and updates them instead of inserting.
  const RuleImportLock importLock(connection, kRuleImportLockWait);
  TDbQuery rules(connection);
  MigrateRuleTable(rules);
  rules.SQL().SetText(kRuleSelect);
  rules.Open();
  ImportRules(rules, *list);
}

}  // namespace rotalis
