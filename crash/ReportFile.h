#pragma once
// The report file beside the program: reports are appended, and the oldest
// whole reports are dropped so that the file never exceeds its size limit.

#include <cstddef>
#include <string>
#include <vector>

namespace rotalis::crash {

// The reports a file holds, oldest first, each starting with kReportStartLine.
// Text before the first report (a file written by something else) is dropped.
std::vector<std::string> SplitReports(const std::string& fileText);

// The hidden lock file that writers of the report file at `path` hold:
// ".bugreport.txt.lock" beside "bugreport.txt".
std::string ReportLockPath(const std::string& path);

// Appends `report` to the file at `path` (creating it), dropping the oldest
// reports until the whole is at most `maxBytes`, and returns the file's text
// as written. A report alone larger than that is not written. Several
// processes may append at once: each holds the lock file ReportLockPath(path)
// while it reads and rewrites the file. Raises rotalis::Exception when the
// file cannot be written.
std::string AppendReport(const std::string& path, const std::string& report, std::size_t maxBytes);

// The reports waiting in the file, oldest first; none when there is no file.
// Raises rotalis::Exception when it cannot be read.
std::vector<std::string> PendingReports(const std::string& path);

// Takes one report that was delivered on its own out of the file (the file
// goes with the last one); reports written meanwhile stay. Never raises.
void RemoveDeliveredReport(const std::string& path, const std::string& report);

// Removes the file once its reports have been sent, unless another process
// has written to it since `written` (what AppendReport returned): those
// reports are not sent yet. Never raises.
void RemoveSentReports(const std::string& path, const std::string& written);

}  // namespace rotalis::crash
