#pragma once
// Keeps table nrt equal, row by row, to the rules the cloud service holds for
// the company whose CNPJ the ERP database names.

#include <string>
#include <vector>

#include "config/Installation.h"
#include "ui/Application.h"

namespace rotalis {

// One run per start: configuration, connection (a failure is shown and the
// run goes on), company query, rule table, cloud fetch, then every received
// rule written by its key. Every other failure leaves as an exception; rows
// written before it stay.
void SyncTaxRules(ui::Application& app, const Installation& here);

// "2026-01-31", "2026-01-31T10:00:00.5-03:00", ... to "31/01/2026" (time zones
// converted to local time); raises "Data ISO inválida" for anything else.
std::string IsoDateToBrDate(const std::string& iso);

}  // namespace rotalis
