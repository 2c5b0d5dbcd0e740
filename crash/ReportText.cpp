#include "crash/ReportText.h"

#include <cstdio>
#include <sstream>

#include "crash/CrashSignature.h"
#include "platform/SystemInfo.h"

namespace rotalis::crash {
namespace {

constexpr std::size_t kNameWidth = 20;

std::string Hex(std::uintptr_t value, int width) {
  char text[32];
  std::snprintf(text, sizeof text, "%0*llx", width, static_cast<unsigned long long>(value));
  return text;
}

std::string Clipped(std::string text, std::size_t limit) {
  if (text.size() <= limit) return text;
  text.resize(limit);
  return text + "...";
}

std::string Padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

void HeaderLine(std::ostringstream& out, const std::string& name, const std::string& value) {
  out << Padded(name, kNameWidth) << ": " << value << '\n';
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    if (!text.empty()) text += ' ';
    text += word;
  }
  return text;
}

}  // namespace

std::string ReportField(const std::string& report, const std::string& name) {
  const std::string start = "\n" + Padded(name, kNameWidth) + ": ";
  const std::size_t at = report.find(start);
  if (at == std::string::npos) return {};
  const std::size_t from = at + start.size();
  return report.substr(from, report.find('\n', from) - from);
}

std::string FormatStackLine(const platform::StackFrame& frame) {
  std::string line = Padded(Clipped(frame.module.empty() ? "?" : frame.module, 40), 24) + " " +
                     Hex(frame.address, 16) + " ";
  if (frame.function.empty()) {
    line += Padded("", 8) + "?";
  } else {
    line += Padded("+0x" + Hex(frame.functionOffset, 1), 8) + Clipped(frame.function, 400);
  }
  if (!frame.sourceFile.empty() && frame.line > 0) {
    line += "  " + Clipped(frame.sourceFile, 300) + ":" + std::to_string(frame.line);
    if (frame.functionLine > 0 && frame.line >= frame.functionLine) {
      line += " (+" + std::to_string(frame.line - frame.functionLine) + ")";
    }
  } else if (!frame.module.empty()) {
    line += "  (" + frame.module + "+0x" + Hex(frame.moduleOffset, 1) + ")";
  }
  return line;
}

std::string BuildReportText(const ApplicationInfo& application, const CrashEvent& event,
                            const std::vector<platform::StackFrame>& stack,
                            const std::string& dateTime) {
  std::ostringstream out;
  out << kReportStartLine << '\n';
  HeaderLine(out, "application", application.name);
  HeaderLine(out, "version", application.version);
  HeaderLine(out, "executable", Clipped(application.executablePath, 1000));
  HeaderLine(out, "application folder", Clipped(application.folder, 1000));
  HeaderLine(out, "command line", Clipped(Joined(application.commandLine), 2000));
  HeaderLine(out, "date/time", dateTime);
  HeaderLine(out, "operating system", platform::OperatingSystemName());
  HeaderLine(out, "user", platform::UserName());
  HeaderLine(out, "computer", platform::ComputerName());
  HeaderLine(out, "process id", std::to_string(event.processId));
  HeaderLine(out, "thread id", std::to_string(event.threadId));
  HeaderLine(out, "caught in", event.origin);
  HeaderLine(out, "exception class", Clipped(event.errorClass, 500));
  HeaderLine(out, "exception message", Clipped(event.message, 8000));
  HeaderLine(out, "can continue", event.canContinue ? "yes" : "no");
  const std::string signature = CrashSignatureOf(event.errorClass, stack);
  if (!signature.empty()) HeaderLine(out, kSignatureField, signature);
  out << "\ncall stack of the crashing thread:\n";
  for (const platform::StackFrame& frame : stack) out << FormatStackLine(frame) << '\n';
  if (stack.empty()) out << "(not recorded)\n";
  out << '\n';
  std::string text = out.str();
  // The limits above keep a report far below this; the check keeps the
  // promise when they are all reached at once.
  if (text.size() > kMaxReportBytes) text = text.substr(0, kMaxReportBytes - 20) + "\n(cut)\n";
  return text;
}

}  // namespace rotalis::crash
