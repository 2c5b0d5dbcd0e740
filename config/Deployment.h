#pragma once
// The constants a deployment supplies at build time (CMake cache variables of
// the same names). Functions that reach a server take them as an argument, so
// that tests can point one call elsewhere; the program passes Compiled().

#include <string>

namespace rotalis {

struct Deployment {
  std::string updateServer;   // ROTALIS_UPDATE_SERVER: numeric IPv4 address
  std::string cloudUrl;       // ROTALIS_CLOUD_URL: ".../functions/v1/regras-por-cnpj"
  std::string cloudToken;     // ROTALIS_CLOUD_TOKEN: bearer token
  std::string cloudCaFile;    // ROTALIS_CLOUD_CA_FILE: CA bundle, empty = system store
  std::string bugTrackerUrl;  // ROTALIS_BUGTRACKER_URL: "http://host[:port]/erros"
  // ROTALIS_UPDATE_PUBLIC_KEY: the base64 line of the publisher's minisign.pub.
  // Empty: installers are run as downloaded. Set: only installers signed with
  // its key reach the cache and are run.
  std::string updatePublicKey{};
  // ROTALIS_OFFLINE_GRACE_HOURS: 0, nothing changes. Above 0: complete rule
  // synchronisations are recorded in table nrtsync, and a start whose cloud
  // cannot be reached goes on with the rules of a synchronisation younger
  // than this many hours, after telling the user.
  int offlineGraceHours = 0;

  // The values this program was built with.
  static const Deployment& Compiled();
};

// The update server's fixed port.
inline constexpr const char* kUpdateServerPort = "8063";

}  // namespace rotalis
