#pragma once
// The local time zone a test runs in, named the IANA way on every platform.
//
// The product converts to local time with the system's own means: the zone
// database through TZ on Linux, the zone's own rules for each year on Windows
// (chosen by its key name in TZ, else the system's zone). Both know São
// Paulo's summer times; Windows knows a zone's history only from the first
// year of its table on (for São Paulo 2000 under Wine), so expectations about
// older summer times belong to the zone database.

#include <string>

namespace rotalis::test {

// Makes `zone` ("America/Sao_Paulo", "Asia/Tokyo", "UTC") the local zone of
// this process from now on. Throws std::invalid_argument for a zone the
// platform cannot express.
void UseTimeZone(const std::string& zone);

}  // namespace rotalis::test
