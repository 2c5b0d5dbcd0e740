#pragma once
// Owning handles for the client library's C objects. The library's types are
// only forward-declared here so that users of the database layer never see
// its header.

#include <memory>

struct st_mysql;
struct st_mysql_res;

namespace rotalis::db {

struct MySqlCloser {
  void operator()(st_mysql* handle) const;
};
struct MySqlResultFreer {
  void operator()(st_mysql_res* result) const;
};

using MySqlHandle = std::unique_ptr<st_mysql, MySqlCloser>;
using MySqlResult = std::unique_ptr<st_mysql_res, MySqlResultFreer>;

}  // namespace rotalis::db
