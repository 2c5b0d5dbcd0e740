#pragma once
// What the self-update tests share: a real update server (nginx on
// 127.0.0.1:8063), an application folder whose path holds no digit (installer
// numbers are read from the whole path), a launcher stamped 1.2.3.4 and
// installers that are small scripts recording how they were started.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/Installation.h"
#include "tests/support/RecordingApplication.h"
#include "tests/support/nginx/NginxUpdateServer.h"

namespace rotalis::test {

// A fresh folder under the temporary folder whose path is made of letters
// only, removed with its content when the object goes.
class LetterFolder {
 public:
  LetterFolder();
  ~LetterFolder();
  LetterFolder(const LetterFolder&) = delete;
  LetterFolder& operator=(const LetterFolder&) = delete;

  const std::string& Path() const { return path_; }  // with trailing separator
  std::string operator/(const std::string& relative) const { return path_ + relative; }
  std::string Write(const std::string& relative, const std::string& bytes) const;
  std::string Read(const std::string& relative) const;
  bool Exists(const std::string& relative) const;

 private:
  std::string path_;
};

// One start of an installer script, as it recorded it.
struct InstallerRun {
  std::string name;  // file name of the script
  std::vector<std::string> arguments;
  std::string path;  // PATH it was given
};

class UpdateTest : public ::testing::Test {
 protected:
  UpdateTest();

  // An installer script in the cache that records its start into the run log.
  std::string PutInstaller(const std::string& name) const;
  // The same script as bytes, for the server to hand out.
  std::string InstallerScript() const;
  std::vector<InstallerRun> Runs() const;

  NginxUpdateServer server;
  LetterFolder app;
  RecordingApplication ui;
  Installation here;
};

}  // namespace rotalis::test
