#include "update/UpdateServer.h"

#include "platform/Ping.h"

namespace rotalis {

std::string UpdateServerBase(const Deployment& deployment) {
  return std::string("http://") + deployment.updateServer + ":" + kUpdateServerPort;
}

bool ServerReachable(const std::string& address, int timeoutMs) {
  return platform::PingOnce(address, timeoutMs);
}

}  // namespace rotalis
