#include "crash/ReportFile.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <numeric>

#include "crash/ReportText.h"
#include "platform/Exception.h"
#include "platform/FileLock.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"

namespace rotalis::crash {
namespace {

// The lock beside the report file: the file itself is replaced at every
// write, so a lock on it would stay with a file that is gone. It stays in the
// folder for good (removing a lock file others may be waiting on would let
// two writers in), so it is hidden: a dot name, and the hidden attribute
// where the system has one. A process that holds it too long (hung while
// writing) is not waited for: a report written out of turn beats a report
// lost.
std::unique_ptr<platform::FileLock> LockReports(const std::string& path) {
  constexpr std::chrono::seconds kPatience(10);
  try {
    auto lock = std::make_unique<platform::FileLock>(ReportLockPath(path),
                                                     platform::LockFileVisibility::Hidden);
    lock->LockWithin(kPatience);
    return lock;
  } catch (const std::exception&) {
    return nullptr;
  }
}

}  // namespace

std::string ReportLockPath(const std::string& path) {
  const std::string folder = platform::FolderOf(path);
  return folder + "." + path.substr(folder.size()) + ".lock";
}

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

std::vector<std::string> PendingReports(const std::string& path) {
  const auto lock = LockReports(path);
  if (!platform::FileExists(path)) return {};
  return SplitReports(platform::ReadFileBytes(path));
}

void RemoveDeliveredReport(const std::string& path, const std::string& report) {
  try {
    const auto lock = LockReports(path);
    std::vector<std::string> reports = SplitReports(platform::ReadFileBytes(path));
    const auto delivered = std::find(reports.begin(), reports.end(), report);
    if (delivered == reports.end()) return;
    reports.erase(delivered);
    if (reports.empty()) {
      platform::RemoveFile(path);
      return;
    }
    std::string text;
    for (const std::string& kept : reports) text += kept;
    platform::WriteFileBytes(path, text);
  } catch (const std::exception&) {
    // Left in the file, it is delivered once more rather than lost.
  }
}

void RemoveSentReports(const std::string& path, const std::string& written) {
  try {
    const auto lock = LockReports(path);
    if (platform::ReadFileBytes(path) != written) return;
    platform::RemoveFile(path);
  } catch (const std::exception&) {
    // Gone already, unreadable, or held by another program past all
    // patience: nothing to remove that is known to be sent, or nothing more
    // to try.
  }
}

}  // namespace rotalis::crash
