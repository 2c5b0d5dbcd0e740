#pragma once
// What a rule synchronisation runs against in tests and benchmarks: an
// application folder holding the edition executable and its configuration
// file, which points at one database of the private MariaDB, and an
// Installation whose cloud constants reach the cloud fixture.

#include <string>

#include "config/Installation.h"
#include "net/JsonText.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

class CloudFixtureServer;
class MariaDbServer;

class SyncSite {
 public:
  SyncSite(const MariaDbServer& server, const std::string& database,
           const CloudFixtureServer& cloud);

  const Installation& Here() const { return here_; }
  const TempFolder& Folder() const { return folder_; }
  // The edition's configuration file ("kelvaERP.ini"); tests may rewrite it.
  std::string ConfigFile() const { return folder_ / "kelvaERP.ini"; }

 private:
  TempFolder folder_;
  Installation here_;
};

// The ERP tables in a database, configuration row 1 naming a company whose
// document (the CNPJ the cloud is asked with) is `cnpj`.
void CreateCompany(const MariaDbServer& server, const std::string& database,
                   const std::string& cnpj);

// One rule record as the cloud sends it, every member filled with plausible
// values; tests change the members they care about.
net::Json SampleRule(const std::string& code);

}  // namespace rotalis::test
