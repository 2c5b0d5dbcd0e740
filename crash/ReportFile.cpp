#include "crash/ReportFile.h"

#include <chrono>
#include <exception>
#include <memory>
#include <numeric>

#include "crash/ReportText.h"
#include "platform/Exception.h"
#include "platform/FileLock.h"
#include "platform/FileSystem.h"

namespace rotalis::crash {
namespace {

// The lock beside the report file: the file itself is replaced at every
// write, so a lock on it would stay with a file that is gone. A process that
// holds it too long (hung while writing) is not waited for: a report written
// out of turn beats a report lost.
std::unique_ptr<platform::FileLock> LockReports(const std::string& path) {
  constexpr std::chrono::seconds kPatience(10);
  try {
    auto lock = std::make_unique<platform::FileLock>(path + ".lock");
    lock->LockWithin(kPatience);
    return lock;
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

std::vector<std::string> SplitReports(const std::string& fileText) {
  const std::string start = kReportStartLine;
  std::vector<std::size_t> starts;
  for (std::size_t pos = fileText.find(start); pos != std::string::npos;
       pos = fileText.find(start, pos + start.size())) {
    if (pos == 0 || fileText[pos - 1] == '\n') starts.push_back(pos);
  }
  std::vector<std::string> reports;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const std::size_t end = i + 1 < starts.size() ? starts[i + 1] : fileText.size();
    reports.push_back(fileText.substr(starts[i], end - starts[i]));
  }
  return reports;
}

std::string AppendReport(const std::string& path, const std::string& report, std::size_t maxBytes) {
  if (report.size() > maxBytes) throw Exception("The bug report is larger than its file may be");
  const auto lock = LockReports(path);
  std::vector<std::string> reports;
  if (platform::FileExists(path)) reports = SplitReports(platform::ReadFileBytes(path));
  std::size_t total =
      std::accumulate(reports.begin(), reports.end(), report.size(),
                      [](std::size_t sum, const std::string& r) { return sum + r.size(); });
  std::size_t first = 0;
  while (total > maxBytes) total -= reports[first++].size();
  std::string text;
  text.reserve(total);
  for (std::size_t i = first; i < reports.size(); ++i) text += reports[i];
  text += report;
  platform::WriteFileBytes(path, text);
  return text;
}

void RemoveSentReports(const std::string& path, const std::string& written) {
  try {
    const auto lock = LockReports(path);
    if (platform::ReadFileBytes(path) != written) return;
    // The path is UTF-8: through the platform, as the system's wide name.
    platform::RemoveFile(path);
  } catch (const std::exception&) {
    // Gone already, or unreadable: nothing to remove that is known to be sent.
  }
}

}  // namespace rotalis::crash
