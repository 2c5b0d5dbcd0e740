#include "crash/SubmissionAllowance.h"

#include <filesystem>
#include <sstream>
#include <vector>

#include "platform/FileLock.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"

namespace rotalis::crash {

bool TakeSubmissionAllowance(const std::string& logPath, int perHour,
                             std::chrono::system_clock::time_point now) {
  using std::chrono::seconds;
  try {
    platform::FileLock lock(logPath + ".lock");
    // A holder that hangs must not keep a report from going out.
    lock.LockWithin(std::chrono::seconds(5));
    const long long current = std::chrono::duration_cast<seconds>(now.time_since_epoch()).count();
    const long long hourAgo = current - 3600;
    std::vector<long long> recent;
    if (platform::FileExists(logPath)) {
      std::istringstream lines(platform::ReadFileBytes(logPath));
      // A time ahead of now (a clock set back) counts as recent: it goes
      // within the hour either way once the clock is right again.
      for (long long when = 0; lines >> when;) {
        if (when > hourAgo && when <= current + 3600) recent.push_back(when);
      }
    }
    if (static_cast<int>(recent.size()) >= perHour) return false;
    recent.push_back(current);
    std::string text;
    for (const long long when : recent) text += std::to_string(when) + '\n';
    platform::WriteFileBytes(logPath, text);
  } catch (const std::exception&) {
  }
  return true;
}

bool TakeSubmissionAllowance() {
  std::string folder;
  try {
    const std::u8string path = std::filesystem::temp_directory_path().u8string();
    folder.assign(reinterpret_cast<const char*>(path.data()), path.size());
  } catch (const std::exception&) {
    return true;
  }
  return TakeSubmissionAllowance(platform::JoinPath(folder, "rotalis-crash-submissions.txt"),
                                 kSubmissionsPerHour, std::chrono::system_clock::now());
}

}  // namespace rotalis::crash
