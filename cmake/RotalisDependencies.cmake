# The third-party libraries every folder links, found once: Debian's packages
# on Linux, the mingw-w64 prefix that scripts/windows-deps.sh builds for the
# Windows build. Each is one target of ours, so no folder needs to know where
# it came from.

find_package(nlohmann_json REQUIRED)
if(WIN32)
  # CURL::libcurl with what a static Schannel build needs at link time.
  find_package(RotalisCurl REQUIRED)
else()
  find_package(CURL REQUIRED)
endif()

# libsodium checks the publisher's signatures on installers.
add_library(rotalis_sodium INTERFACE)
if(WIN32)
  find_package(RotalisSodium REQUIRED)
  target_link_libraries(rotalis_sodium INTERFACE Rotalis::sodium)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET GLOBAL libsodium)
  target_link_libraries(rotalis_sodium INTERFACE PkgConfig::SODIUM)
endif()

add_library(rotalis_mysql_client INTERFACE)
if(WIN32)
  # Connector/C ships no pkg-config file for the static Windows library; the
  # prefix carries a small CMake package of its own.
  find_package(RotalisMariaDB REQUIRED)
  target_link_libraries(rotalis_mysql_client INTERFACE Rotalis::mariadbclient)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(MARIADB REQUIRED IMPORTED_TARGET GLOBAL libmariadb)
  target_link_libraries(rotalis_mysql_client INTERFACE PkgConfig::MARIADB)
endif()
