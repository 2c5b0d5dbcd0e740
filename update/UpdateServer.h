#pragma once
// Where the update file server is and whether it answers.

#include <string>

#include "config/Deployment.h"

namespace rotalis {

// How long the update step waits for the server's echo reply.
inline constexpr int kUpdateServerPingMs = 1000;

// "http://" + the server's address + ":" + "8063", built anew for each use.
std::string UpdateServerBase(const Deployment& deployment);

// One ICMP echo to the address; true only for its reply within the time-out.
// Every failure (no permission to ping, time-out, unreachable) is false.
bool ServerReachable(const std::string& address, int timeoutMs);

}  // namespace rotalis
