#pragma once
// A private MariaDB server for one test program: started in a temporary folder
// on a free loopback port by tests/fixtures/mariadb/mariadb-fixture.sh, with
// the server's default strict SQL mode, and stopped when the object goes. A
// watchdog kills it too when the test program dies without unwinding.
//
// It holds a database "erp" with the ERP tables cfgmcfg and etd; every test
// can ask for a fresh database of its own.

#include <optional>
#include <string>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
class TDbConnection;
}

namespace rotalis::test {

class MariaDbServer {
 public:
  MariaDbServer();  // raises std::runtime_error with the server's log on failure
  ~MariaDbServer();
  MariaDbServer(const MariaDbServer&) = delete;
  MariaDbServer& operator=(const MariaDbServer&) = delete;

  const std::string& Host() const { return host_; }
  int Port() const { return port_; }
  const std::string& User() const { return user_; }
  const std::string& Password() const { return password_; }

  // Runs statements (several separated by ';' allowed) as the administrator,
  // on a connection of its own; raises std::runtime_error with the server's text.
  void Execute(const std::string& sql, const std::string& database = "") const;
  // The first column of the first row; nullopt for no row or NULL.
  std::optional<std::string> QueryValue(const std::string& sql,
                                        const std::string& database = "") const;

  // A new, empty latin1 database with a name of its own.
  std::string CreateDatabase();
  // cfgmcfg and etd, as the ERP has them, in that database.
  void CreateErpTables(const std::string& database) const;

  // An account on 127.0.0.1 that logs in with the server's ed25519 method
  // (MariaDB's own, which Debian ships as a plugin the server loads here
  // first), allowed everything on that database; made anew if it exists.
  void CreateEd25519Account(const std::string& user, const std::string& password,
                            const std::string& database) const;

  // The edition's configuration file naming a database of this server and an
  // account (the administrator's when `user` is empty).
  std::string ConfigurationIni(const std::string& database, const std::string& user = "",
                               const std::string& password = "") const;

  // Sets a connection's parameters to reach this server and database
  // (provider "MySQL"); does not connect.
  void Configure(TDbConnection& connection, const std::string& database) const;

  // The folder holding the server's data, socket, log and process id.
  const std::string& Folder() const { return folder_.Path(); }

  // A loopback port on which nothing listens.
  static int UnusedPort();

 private:
  HostLifeline lifeline_;
  TempFolder folder_;
  std::string host_ = "127.0.0.1";
  int port_ = 0;
  std::string user_ = "root";
  std::string password_ = "kqm418";
  int databases_ = 0;
};

}  // namespace rotalis::test
