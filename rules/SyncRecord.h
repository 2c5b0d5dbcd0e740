#pragma once
// When a company's rules were last brought in complete: table nrtsync, one row
// per CNPJ, dated by the database server's clock, so that every workstation
// measures ages on the same one. Kept only when the deployment grants an
// offline grace (Deployment::offlineGraceHours).

#include <optional>
#include <string>

namespace rotalis {

class TDbConnection;

// The table's definition as it is created.
extern const char* const kSyncRecordCreateSql;

// Records that the rules of `cnpj` (etddoc1 as read) were brought in complete
// just now: creates nrtsync when the catalogue does not list it, then inserts
// the company's row or moves it forward in one statement. Workstations doing
// this at once are safe: the CREATE carries IF NOT EXISTS and the upsert is
// atomic. Database errors raise.
void RecordCompleteSync(TDbConnection& connection, const std::string& cnpj);

// The time of the last complete synchronisation of `cnpj` as
// "dd/mm/yyyy hh:mm" of the server's clock, when it lies within the last
// `graceHours` hours of that clock; nothing for no row, an older one, or one
// dated after the server's present (a clock that was set back). Database
// errors raise, a missing table among them.
std::optional<std::string> RecentCompleteSync(TDbConnection& connection, const std::string& cnpj,
                                              int graceHours);

}  // namespace rotalis
