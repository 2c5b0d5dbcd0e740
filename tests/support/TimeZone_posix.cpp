#include "tests/support/TimeZone.h"

#include "platform/Environment.h"

namespace rotalis::test {

// The product reads TZ at each conversion, so setting it is enough.
void UseTimeZone(const std::string& zone) { platform::SetEnvironment("TZ", zone); }

}  // namespace rotalis::test
