#pragma once
// The local time zone a test runs in, named the IANA way on every platform.
//
// The product converts to local time with the system's own means: the zone
// database through TZ on Linux, the C runtime on Windows. That runtime knows
// no zone names, only a fixed offset from UTC ("BRT3", "JST-9"), with northern
// summer-time rules when a summer name follows; so on Windows a zone stands
// for its standard offset and is right only for instants outside summer time.
// Expectations that depend on a zone's history belong to the zone database.

#include <string>

namespace rotalis::test {

// Makes `zone` ("America/Sao_Paulo", "Asia/Tokyo", "UTC") the local zone of
// this process from now on. Throws std::invalid_argument for a zone the
// platform cannot express.
void UseTimeZone(const std::string& zone);

}  // namespace rotalis::test
