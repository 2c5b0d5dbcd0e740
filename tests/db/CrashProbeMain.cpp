// Starts the private server, names its folder on standard output and dies
// without unwinding, as a crashing test program would.

#include <cstdlib>
#include <iostream>

#include "tests/support/mariadb/MariaDbServer.h"

int main() {
  rotalis::test::MariaDbServer server;
  std::cout << server.Folder() << std::endl;
  std::abort();
}
