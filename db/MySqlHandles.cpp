#include "db/MySqlHandles.h"

#include <mysql.h>

namespace rotalis::db {

void MySqlCloser::operator()(st_mysql* handle) const { mysql_close(handle); }

void MySqlResultFreer::operator()(st_mysql_res* result) const { mysql_free_result(result); }

}  // namespace rotalis::db
