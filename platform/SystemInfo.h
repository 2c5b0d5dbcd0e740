#pragma once
// Facts about the machine, the user and this process, for report headers.

#include <string>

namespace rotalis::platform {

// "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64 x86_64".
std::string OperatingSystemName();
std::string UserName();
std::string ComputerName();
int CurrentProcessId();
// The calling thread's id as the system numbers threads.
long CurrentThreadId();
// Local date and time "2026-11-23 08:15:02 -0300".
std::string LocalDateTimeText();

}  // namespace rotalis::platform
