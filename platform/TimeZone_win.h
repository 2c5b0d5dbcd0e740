#pragma once
// The local zone as the C runtime's time functions use it. For the _win.cpp
// files of this folder only.

namespace rotalis::platform {

// Makes the runtime read the zone again (_tzset) from TZ as the process
// environment holds it now. The runtime reads its own copy of the
// environment, which SetEnvironment (SetEnvironmentVariableW) leaves alone, so
// TZ is copied over first; a TZ the runtime cannot read is left out, and the
// system's zone counts instead.
void ReloadRuntimeTimeZone();

}  // namespace rotalis::platform
