#include "db/TDbConnection.h"

#include <errmsg.h>
#include <mysql.h>
#include <mysqld_error.h>

#include <algorithm>

#include "db/DbError.h"
#include "db/TMySQLProvider.h"
#include "platform/AsciiCase.h"
#include "platform/TextEncoding.h"

namespace rotalis {
namespace {

constexpr unsigned int kConnectTimeoutSeconds = 15;
// utf8mb4 rather than the columns' latin1, so that the server converts every
// accented letter itself. A character that latin1 cannot hold would make a
// strict server refuse the whole row, at every start, with nothing the user
// can do: QuoteValue turns it into "?" first, as text passing through the
// Windows-1252 code page always did.
constexpr const char* kSessionCharset = "utf8mb4";

std::string Trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

TDbConnection::TDbConnection() = default;
TDbConnection::~TDbConnection() = default;

void TDbConnection::SetProviderName(const std::string& name) { providerName_ = Trimmed(name); }

void TDbConnection::SetServer(const std::string& server) {
  if (server == server_) return;
  handle_.reset();
  server_ = server;
}

void TDbConnection::SetPort(std::int32_t port) {
  if (port == port_) return;
  handle_.reset();
  port_ = port;
}

void TDbConnection::SetDatabase(const std::string& database) { database_ = Trimmed(database); }

void TDbConnection::SetUsername(const std::string& username) {
  if (username == username_) return;
  handle_.reset();
  username_ = username;
}

void TDbConnection::SetPassword(const std::string& password) {
  if (password == password_) return;
  handle_.reset();
  password_ = password;
}

void TDbConnection::SetConnected(bool connected) {
  if (connected) {
    Connect();
  } else {
    handle_.reset();
  }
}

void TDbConnection::Connect() {
  if (handle_) return;
  if (!platform::EqualsIgnoringAsciiCase(providerName_, TMySQLProvider::kName)) {
    throw EDatabaseError(providerName_.empty() ? "Provider name is not specified"
                                               : "Unknown provider '" + providerName_ + "'");
  }
  db::MySqlHandle handle(mysql_init(nullptr));
  if (!handle) throw EDatabaseError("Out of memory creating a MySQL session");
  const unsigned int timeout = kConnectTimeoutSeconds;
  const unsigned int protocol = MYSQL_PROTOCOL_TCP;
  const my_bool no = 0;
  const unsigned int noLocalFiles = 0;
  mysql_optionsv(handle.get(), MYSQL_OPT_CONNECT_TIMEOUT, &timeout);
  mysql_optionsv(handle.get(), MYSQL_OPT_PROTOCOL, &protocol);
  mysql_optionsv(handle.get(), MYSQL_OPT_RECONNECT, &no);
  mysql_optionsv(handle.get(), MYSQL_OPT_SSL_ENFORCE, &no);
  mysql_optionsv(handle.get(), MYSQL_OPT_LOCAL_INFILE, &noLocalFiles);
  mysql_optionsv(handle.get(), MYSQL_SET_CHARSET_NAME, kSessionCharset);
  // Found rows, not changed rows: posting an unchanged row must count as one.
  const unsigned long flags = CLIENT_FOUND_ROWS;
  if (mysql_real_connect(handle.get(), server_.c_str(), username_.c_str(), password_.c_str(),
                         database_.empty() ? nullptr : database_.c_str(),
                         static_cast<unsigned int>(port_), nullptr, flags) == nullptr) {
    throw EDatabaseError(mysql_error(handle.get()));
  }
  handle_ = std::move(handle);
}

db::MySqlResult TDbConnection::Execute(const std::string& sql) {
  Connect();
  if (mysql_real_query(handle_.get(), sql.data(), sql.size()) != 0) RaiseLastError();
  db::MySqlResult result(mysql_store_result(handle_.get()));
  if (!result && mysql_field_count(handle_.get()) != 0) RaiseLastError();
  affectedRows_ = result ? 0 : mysql_affected_rows(handle_.get());
  lastInsertId_ = mysql_insert_id(handle_.get());
  return result;
}

std::string TDbConnection::QuoteValue(std::string_view value) {
  std::string quoted;
  AppendQuoted(quoted, value);
  return quoted;
}

void TDbConnection::AppendQuoted(std::string& out, std::string_view value) {
  if (!handle_) Connect();
  // Plain ASCII, which most values are, is within Windows-1252 as it stands.
  std::string fitted;
  if (!IsAscii(value)) {
    fitted = FitToWindows1252(value);
    value = fitted;
  }
  const std::size_t start = out.size();
  out.resize(start + value.size() * 2 + 2);  // the escaped text and its terminating NUL
  out[start] = '\'';
  const unsigned long length =
      mysql_real_escape_string(handle_.get(), out.data() + start + 1, value.data(), value.size());
  if (length == static_cast<unsigned long>(-1)) {
    out.resize(start);
    RaiseLastError();
  }
  out.resize(start + 1 + length);
  out += '\'';
}

std::string TDbConnection::QuoteName(std::string_view name) {
  std::string quoted = "`";
  for (char c : name) {
    quoted += c;
    if (c == '`') quoted += '`';
  }
  return quoted + "`";
}

void TDbConnection::RaiseLastError() {
  const unsigned int code = mysql_errno(handle_.get());
  if (code == ER_DUP_ENTRY) throw EDuplicateKey(mysql_error(handle_.get()));
  EDatabaseError error(mysql_error(handle_.get()));
  // A session that is gone stays gone; the next statement reconnects.
  if (code == CR_SERVER_LOST || code == CR_SERVER_GONE_ERROR || code == ER_CONNECTION_KILLED) {
    handle_.reset();
  }
  throw error;
}

}  // namespace rotalis
