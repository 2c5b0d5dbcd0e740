#include "tests/support/mantis/MantisFixtureServer.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

namespace rotalis::test {
namespace {

std::vector<nlohmann::json> JsonLines(const TempFolder& folder, const std::string& relative) {
  std::vector<nlohmann::json> entries;
  std::istringstream lines(ReadIfPresent(folder / relative));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) entries.push_back(nlohmann::json::parse(line));
  }
  return entries;
}

}  // namespace

MantisFixtureServer::MantisFixtureServer(const MantisTrackerSetup& setup)
    : folder_("rotalis-mantis") {
  std::string command = "exec python3 -u " + ShellQuoted(ROTALIS_MANTIS_FIXTURE_SCRIPT) +
                        " --folder " + ShellQuoted(HostPath(folder_.Path())) + " --wsdl " +
                        ShellQuoted(ROTALIS_MANTIS_WSDL) + " --account " +
                        ShellQuoted(setup.account) + " --password " + ShellQuoted(setup.password);
  for (const std::string& project : setup.projects) command += " --project " + ShellQuoted(project);
  for (const std::string& category : setup.categories)
    command += " --category " + ShellQuoted(category);
  command += " --port " + std::to_string(setup.port);
  for (const std::string& extension : setup.disallowedExtensions)
    command += " --disallowed-extension " + ShellQuoted(extension);
  if (setup.refuseSearch) command += " --refuse-search";
  if (setup.holdAnswers) command += " --hold-until " + ShellQuoted(HostPath(folder_ / "release"));
  process_ = StartFixture(command, folder_, "fixture tracker");
  port_ = std::stoi(folder_.Read("port"));
}

MantisFixtureServer::~MantisFixtureServer() = default;

std::string MantisFixtureServer::BaseUrl() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/erros";
}

std::vector<TrackerIssue> MantisFixtureServer::Issues() const {
  std::vector<TrackerIssue> issues;
  for (int id = 1;; ++id) {
    const std::string record = folder_ / ("issues/" + std::to_string(id) + ".json");
    if (!std::filesystem::exists(record)) break;
    const auto parsed =
        nlohmann::json::parse(folder_.Read("issues/" + std::to_string(id) + ".json"));
    TrackerIssue issue;
    issue.id = id;
    issue.project = parsed.at("project").get<std::string>();
    issue.category = parsed.at("category").get<std::string>();
    issue.summary = parsed.at("summary").get<std::string>();
    issue.description = parsed.at("description").get<std::string>();
    issue.status = parsed.at("status").get<int>();
    for (const auto& note : parsed.at("notes")) issue.notes.push_back(note.at("text"));
    for (const auto& attachment : parsed.at("attachments")) {
      const std::string name = attachment.at("name").get<std::string>();
      issue.attachments[name] = folder_.Read("issues/" + std::to_string(id) + "/" + name);
      issue.attachmentTypes[name] = attachment.at("file_type").get<std::string>();
    }
    issues.push_back(std::move(issue));
  }
  return issues;
}

void MantisFixtureServer::SetIssueStatus(int id, int status) {
  const std::string name = "issues/" + std::to_string(id) + ".json";
  auto record = nlohmann::json::parse(folder_.Read(name));
  record["status"] = status;
  folder_.Write(name, record.dump());
}

void MantisFixtureServer::ReleaseAnswers() { folder_.Write("release", ""); }

std::vector<std::string> MantisFixtureServer::Operations() const {
  std::vector<std::string> operations;
  for (const auto& entry : JsonLines(folder_, "requests.jsonl")) {
    operations.push_back(
        entry.at("operation").is_null() ? "" : entry.at("operation").get<std::string>());
  }
  return operations;
}

std::vector<std::string> MantisFixtureServer::WsdlViolations() const {
  std::vector<std::string> violations;
  for (const auto& entry : JsonLines(folder_, "errors.jsonl")) violations.push_back(entry.dump());
  return violations;
}

}  // namespace rotalis::test
