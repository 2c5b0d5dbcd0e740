#pragma once
// The fixture bug tracker (tests/fixtures/mantis/mantis_server.py) on
// loopback: speaks the tracker's SOAP API, checks every request against the
// API's WSDL, and records the issues and attachments it receives. It stops
// when the object goes, and also when the test program dies (it watches its
// standard input).

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/HostShell.h"
#include "tests/support/TempFolder.h"

namespace rotalis::test {

struct MantisTrackerSetup {
  std::string account = "bugs";
  std::string password;  // required
  std::vector<std::string> projects = {"TarvoArquivos"};
  std::vector<std::string> categories = {"General"};
  // 0: one the system chooses. A fixed one (where a program was built to
  // find the tracker) must be locked against other tests (CTest RESOURCE_LOCK).
  int port = 0;
  // Attachments named with these extensions are refused ("File type not allowed.").
  std::vector<std::string> disallowedExtensions = {};
  // mc_filter_search_issue_ids answers "Access denied", as a tracker whose
  // account may not search.
  bool refuseSearch = false;
  // No request is answered before ReleaseAnswers.
  bool holdAnswers = false;
};

struct TrackerIssue {
  int id = 0;
  std::string project;
  std::string category;
  std::string summary;
  std::string description;
  std::map<std::string, std::string> attachments;      // name -> raw bytes
  std::map<std::string, std::string> attachmentTypes;  // name -> file_type
  std::vector<std::string> notes;                      // their texts, oldest first
  int status = 10;                                     // 10 "new", 80 "resolved", 90 "closed"
};

class MantisFixtureServer {
 public:
  explicit MantisFixtureServer(const MantisTrackerSetup& setup);
  ~MantisFixtureServer();
  MantisFixtureServer(const MantisFixtureServer&) = delete;
  MantisFixtureServer& operator=(const MantisFixtureServer&) = delete;

  // "http://127.0.0.1:<port>/erros": what the deployment names as the tracker.
  std::string BaseUrl() const;

  // The issues filed so far, by id, with their attachments.
  std::vector<TrackerIssue> Issues() const;

  // As a developer does in the tracker's pages.
  void SetIssueStatus(int id, int status);

  // Lets the requests held since the start (holdAnswers) be answered.
  void ReleaseAnswers();

  // Operations of every request received, oldest first.
  std::vector<std::string> Operations() const;

  // One line per request that did not match the WSDL; empty when all did.
  std::vector<std::string> WsdlViolations() const;

 private:
  TempFolder folder_;
  std::unique_ptr<HostProcess> process_;
  int port_ = 0;
};

}  // namespace rotalis::test
