#pragma once
// One session to one MySQL server and database.
//
// Parameters are set before Connect. Changing Server, Port, Username or
// Password to a different value closes an open session; the next statement of
// a query reconnects implicitly. Every failure raises EDatabaseError carrying
// the client library's or server's message unchanged. The session speaks
// utf8mb4, so the server converts the program's UTF-8 text to each column's
// character set; text values reach it within Windows-1252 (see QuoteValue).

#include <cstdint>
#include <string>
#include <string_view>

#include "db/MySqlHandles.h"

namespace rotalis {

class TDbConnection {
 public:
  TDbConnection();
  ~TDbConnection();
  TDbConnection(const TDbConnection&) = delete;
  TDbConnection& operator=(const TDbConnection&) = delete;

  const std::string& ProviderName() const { return providerName_; }
  void SetProviderName(const std::string& name);  // trimmed
  const std::string& Server() const { return server_; }
  void SetServer(const std::string& server);
  std::int32_t Port() const { return port_; }
  void SetPort(std::int32_t port);
  const std::string& Database() const { return database_; }
  void SetDatabase(const std::string& database);  // trimmed
  const std::string& Username() const { return username_; }
  void SetUsername(const std::string& username);
  const std::string& Password() const { return password_; }
  void SetPassword(const std::string& password);

  // Opens the session with the current parameters (15-second connect
  // time-out, TCP, no TLS, no compression, autocommit). Does nothing when
  // already connected.
  void Connect();
  bool Connected() const { return static_cast<bool>(handle_); }
  // false closes the session; true connects.
  void SetConnected(bool connected);

  // --- used by TDbQuery ---

  // Runs one statement, connecting first when needed. Returns its result set
  // (all rows fetched), or null for a statement without one.
  db::MySqlResult Execute(const std::string& sql);
  // Rows the last statement matched (UPDATE counts matched, not changed, rows).
  std::uint64_t AffectedRows() const { return affectedRows_; }
  std::uint64_t LastInsertId() const { return lastInsertId_; }
  // The value as an SQL string literal: every character Windows-1252 cannot
  // represent turned into "?", escaped by the client library for the
  // session's character set and SQL mode, in single quotes. Connects first.
  std::string QuoteValue(std::string_view value);
  // QuoteValue appended to `out`.
  void AppendQuoted(std::string& out, std::string_view value);
  // The name as a quoted identifier.
  static std::string QuoteName(std::string_view name);

 private:
  [[noreturn]] void RaiseLastError();

  std::string providerName_;
  std::string server_;
  std::int32_t port_ = 3306;
  std::string database_;
  std::string username_;
  std::string password_;
  db::MySqlHandle handle_;
  std::uint64_t affectedRows_ = 0;
  std::uint64_t lastInsertId_ = 0;
};

}  // namespace rotalis
