#include "db/TMySQLProvider.h"

#include <mysql.h>

#include "db/DbError.h"

namespace rotalis {

TMySQLProvider::TMySQLProvider() {
  // Initialising up front keeps the library's one-time set-up out of the first
  // connect, where a failure would be mistaken for a connection problem.
  if (mysql_library_init(0, nullptr, nullptr) != 0) {
    throw EDatabaseError("The MySQL client library could not be initialised");
  }
}

}  // namespace rotalis
