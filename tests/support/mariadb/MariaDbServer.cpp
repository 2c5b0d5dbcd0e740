#include "tests/support/mariadb/MariaDbServer.h"

#include <mysql.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "db/TDbConnection.h"
#include "db/TMySQLProvider.h"
#include "platform/FileSystem.h"
#include "tests/support/HostShell.h"

namespace rotalis::test {
namespace {

// A host path, compiled in.
std::string Fixture() { return ROTALIS_MARIADB_FIXTURE; }

// Runs the fixture script; its output goes to `hostOutput`.
int RunFixture(const std::string& arguments, const std::string& hostOutput) {
  return RunHostCommand("bash " + ShellQuoted(Fixture()) + " " + arguments + " >" +
                        ShellQuoted(hostOutput) + " 2>&1");
}

struct AdminSession {
  std::unique_ptr<MYSQL, decltype(&mysql_close)> handle{mysql_init(nullptr), &mysql_close};

  AdminSession(const MariaDbServer& server, const std::string& database) {
    const unsigned int protocol = MYSQL_PROTOCOL_TCP;
    mysql_optionsv(handle.get(), MYSQL_OPT_PROTOCOL, &protocol);
    mysql_optionsv(handle.get(), MYSQL_SET_CHARSET_NAME, "utf8mb4");
    if (mysql_real_connect(handle.get(), server.Host().c_str(), server.User().c_str(),
                           server.Password().c_str(), database.empty() ? nullptr : database.c_str(),
                           static_cast<unsigned int>(server.Port()), nullptr,
                           CLIENT_MULTI_STATEMENTS) == nullptr) {
      Fail("connect");
    }
  }
  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("administrator " + what + ": " + mysql_error(handle.get()));
  }
};

}  // namespace

MariaDbServer::MariaDbServer() : folder_("rotalis-mariadb") {
  const std::string output = folder_ / "start.out";
  // The fixture's watchdog kills the server once the lifeline is gone.
  if (RunFixture(
          "start " + ShellQuoted(HostPath(folder_.Path())) + " " + std::to_string(lifeline_.Pid()),
          HostPath(output)) != 0) {
    throw std::runtime_error("the MariaDB fixture did not start:\n" + ReadIfPresent(output));
  }
  port_ = std::atoi(ReadIfPresent(folder_ / "port").c_str());
  if (port_ <= 0) throw std::runtime_error("the MariaDB fixture named no port");
  // The client library's one-time set-up, as the program does it.
  TMySQLProvider provider;
}

MariaDbServer::~MariaDbServer() {
  RunFixture("stop " + ShellQuoted(HostPath(folder_.Path())), "/dev/null");
}

void MariaDbServer::Execute(const std::string& sql, const std::string& database) const {
  AdminSession session(*this, database);
  if (mysql_real_query(session.handle.get(), sql.data(), sql.size()) != 0) session.Fail(sql);
  for (;;) {
    if (MYSQL_RES* result = mysql_store_result(session.handle.get())) mysql_free_result(result);
    const int next = mysql_next_result(session.handle.get());
    if (next > 0) session.Fail(sql);
    if (next < 0) break;
  }
}

std::optional<std::string> MariaDbServer::QueryValue(const std::string& sql,
                                                     const std::string& database) const {
  AdminSession session(*this, database);
  if (mysql_real_query(session.handle.get(), sql.data(), sql.size()) != 0) session.Fail(sql);
  std::unique_ptr<MYSQL_RES, decltype(&mysql_free_result)> result(
      mysql_store_result(session.handle.get()), &mysql_free_result);
  if (!result) session.Fail(sql);
  MYSQL_ROW row = mysql_fetch_row(result.get());
  if (row == nullptr || row[0] == nullptr) return std::nullopt;
  const unsigned long* lengths = mysql_fetch_lengths(result.get());
  return std::string(row[0], lengths[0]);
}

std::string MariaDbServer::CreateDatabase() {
  const std::string name = "test" + std::to_string(++databases_);
  Execute("CREATE DATABASE " + name + " CHARACTER SET latin1");
  return name;
}

void MariaDbServer::CreateErpTables(const std::string& database) const {
  const std::string script = Fixture().substr(0, Fixture().rfind('/') + 1) + "erp-tables.sql";
  Execute(platform::ReadFileBytes(LocalPath(script)), database);
}

void MariaDbServer::CreateEd25519Account(const std::string& user, const std::string& password,
                                         const std::string& database) const {
  if (QueryValue("SELECT COUNT(*) FROM information_schema.plugins WHERE plugin_name = 'ed25519'") !=
      "1")
    Execute("INSTALL SONAME 'auth_ed25519'");
  const std::string account = "'" + user + "'@'127.0.0.1'";
  Execute("CREATE OR REPLACE USER " + account + " IDENTIFIED VIA ed25519 USING PASSWORD('" +
          password + "'); GRANT ALL ON `" + database + "`.* TO " + account);
}

std::string MariaDbServer::ConfigurationIni(const std::string& database, const std::string& user,
                                            const std::string& password) const {
  return "[posi]\r\nnomebanco=" + database + "\r\nservidor=" + host_ +
         "\r\nusuario=" + (user.empty() ? user_ : user) +
         "\r\nsenha=" + (user.empty() ? password_ : password) +
         "\r\nportabanco=" + std::to_string(port_) + "\r\n";
}

void MariaDbServer::Configure(TDbConnection& connection, const std::string& database) const {
  connection.SetProviderName(TMySQLProvider::kName);
  connection.SetDatabase(database);
  connection.SetServer(host_);
  connection.SetPassword(password_);
  connection.SetUsername(user_);
  connection.SetPort(port_);
}

int MariaDbServer::UnusedPort() {
  // Bound and released at once: nothing listens there afterwards. Asked of the
  // host, whose ports these are.
  std::string output;
  const int status = RunHostCommand(
      "python3 -c 'import socket; s = socket.socket(); s.bind((\"127.0.0.1\", 0)); "
      "print(s.getsockname()[1])'",
      &output);
  const int port = status == 0 ? std::atoi(output.c_str()) : 0;
  if (port <= 0) throw std::runtime_error("no free port");
  return port;
}

}  // namespace rotalis::test
