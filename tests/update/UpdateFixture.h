#pragma once
// What the self-update tests share: a real update server (nginx on
// 127.0.0.1:8063), an application folder whose path holds no digit (installer
// numbers are read from the whole path), a launcher stamped 1.2.3.4 and
// installers that record how they were started: small scripts on Linux, the
// recording installer program on Windows.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "config/Installation.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/TempFolder.h"
#include "tests/support/nginx/NginxUpdateServer.h"

namespace rotalis::test {

// One start of an installer script, as it recorded it.
struct InstallerRun {
  std::string name;  // file name of the script
  std::vector<std::string> arguments;
  std::string path;  // PATH it was given
};

class UpdateTest : public ::testing::Test {
 protected:
  UpdateTest();

  // An installer in the cache that records its start into the run log.
  std::string PutInstaller(const std::string& name) const;
  // The same installer as bytes, for the server to hand out.
  std::string InstallerScript() const;
  std::vector<InstallerRun> Runs() const;
  // The file names of those runs, in their order.
  std::vector<std::string> RunNames() const;
  bool Exists(const std::string& relative) const;

  NginxUpdateServer server;
  std::unique_ptr<TempFolder> appFolder;  // its path holds no digit
  TempFolder& app;
  RecordingApplication ui;
  Installation here;
};

}  // namespace rotalis::test
