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
#include "net/RESTException.h"
#include "rules/CloudRules.h"
#include "rules/RuleImport.h"
#include "rules/RuleImportLock.h"
#include "rules/RuleTable.h"
#include "rules/SyncRecord.h"

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

// "o serviço de regras respondeu HTTP 503 Service Unavailable"; HTTP/2
// carries no reason phrase.
std::string ServerErrorText(const CloudAnswer& answer) {
  std::string text = "o serviço de regras respondeu HTTP " + std::to_string(answer.status);
  if (!answer.statusText.empty()) text += " " + answer.statusText;
  return text;
}

// The cloud could not be reached (`why`): with an offline grace and a
// complete synchronisation of this company younger than it, the user is told
// and the start goes on with the rules in the table. False otherwise, a
// failed look-up included: the start then ends as it would without a grace.
bool GoOnWithRecentRules(ui::Application& app, TDbConnection& connection, const std::string& cnpj,
                         int graceHours, const std::string& why) {
  if (graceHours <= 0) return false;
  std::optional<std::string> when;
  try {
    when = RecentCompleteSync(connection, cnpj, graceHours);
  } catch (const std::exception&) {
    return false;
  }
  if (!when) return false;
  app.ShowMessage("Não foi possível atualizar as regras fiscais: " + why +
                  "\nAs regras em uso são as da última sincronização completa, em " + *when + ".");
  return true;
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
  const int grace = here.deployment.offlineGraceHours;
  // Only an answer the service meant, every record of it written, counts as
  // a complete synchronisation: a server error never does.
  bool meant = false;
  const auto recordComplete = [&] {
    if (grace > 0 && meant) RecordCompleteSync(connection, cnpj);
  };
  std::optional<RuleList> list;
  {
    CloudAnswer answer;
    try {
      answer = FetchCloudAnswer(here.deployment, cnpj);
    } catch (const net::ERESTException& failure) {
      if (GoOnWithRecentRules(app, connection, cnpj, grace, failure.what())) return;
      throw;
    }
    if (answer.status >= 500 &&
        GoOnWithRecentRules(app, connection, cnpj, grace, ServerErrorText(answer)))
      return;
    meant = answer.status < 500;
    if (answer.noRecords) return recordComplete();
    if (answer.body.empty()) return;
    // The body goes as soon as it is parsed: a large answer is held once, as JSON.
    list = ExtractRuleList(answer.body);
  }
  if (!list) return;
  if (list->empty()) return recordComplete();

  // Held from the migration to the last row: a workstation that waited reads
  // the rows the one before it wrote, and updates them instead of inserting.
  const RuleImportLock importLock(connection, kRuleImportLockWait);
  TDbQuery rules(connection);
  MigrateRuleTable(rules);
  rules.SQL().SetText(kRuleSelect);
  rules.Open();
  ImportRules(rules, *list);
  recordComplete();
}

}  // namespace rotalis
