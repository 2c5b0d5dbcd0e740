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

// Appends `report` to the file at `path` (creating it), dropping the oldest
// reports until the whole is at most `maxBytes`. A report alone larger than
// that is not written. Raises rotalis::Exception when the file cannot be written.
void AppendReport(const std::string& path, const std::string& report, std::size_t maxBytes);

}  // namespace rotalis::crash
