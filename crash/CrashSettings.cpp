#include "crash/CrashSettings.h"

namespace rotalis::crash {

TCrashSettings TCrashSettings::ForDeployment(const Deployment& deployment) {
  TCrashSettings settings;
  settings.HttpServer = deployment.bugTrackerUrl;
  return settings;
}

std::string TCrashSettings::MantisEndpoint() const {
  std::string base = HttpServer;
  while (!base.empty() && base.back() == '/') base.pop_back();
  return base + "/api/soap/mantisconnect.php";
}

}  // namespace rotalis::crash
