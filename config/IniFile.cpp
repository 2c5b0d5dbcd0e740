#include "config/IniFile.h"

#include "platform/AsciiCase.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/TextEncoding.h"

namespace rotalis {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LeBom = "\xFF\xFE";

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  const auto last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

// The section name of a "[name]" line, or nothing for other lines.
bool SectionName(std::string_view line, std::string_view& name) {
  line = Trim(line);
  if (line.empty() || line.front() != '[') return false;
  line.remove_prefix(1);
  name = Trim(line.substr(0, line.find(']')));
  return true;
}

// Key and raw value of a "key=value" line; false for other lines. Windows has
// no comment lines as such: ";portabanco=3307" is a key named ";portabanco",
// which no one asks for, so it only acts like a comment.
bool KeyLine(std::string_view line, std::string_view& key, std::string_view& value) {
  line = Trim(line);
  if (line.empty() || line.front() == '[') return false;
  const auto equals = line.find('=');
  if (equals == std::string_view::npos) return false;
  key = Trim(line.substr(0, equals));
  value = Trim(line.substr(equals + 1));
  return !key.empty();
}

std::string_view Unquote(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front())
    return value.substr(1, value.size() - 2);
  return value;
}

}  // namespace

IniFile::IniFile(std::string path) : path_(std::move(path)) {
  // A file that cannot be read (no permission, a folder of that name, broken
  // UTF-16) reads as a missing one does: every key gives its default.
  try {
    Load();
  } catch (const std::exception& e) {
    lines_.clear();
    unreadable_ = e.what();
  }
}

void IniFile::Load() {
  if (!platform::FileExists(path_)) {
    // A folder of that name cannot be replaced by a file either.
    if (platform::DirectoryExists(path_)) throw Exception("The file " + path_ + " is a folder");
    return;
  }
  std::string bytes = platform::ReadFileBytes(path_);
  std::string_view body = bytes;
  std::size_t unit = 1;
  if (body.substr(0, 2) == kUtf16LeBom) {
    encoding_ = Encoding::Utf16LeBom;
    body.remove_prefix(2);
    unit = 2;
  } else if (body.substr(0, 3) == kUtf8Bom) {
    encoding_ = Encoding::Utf8Bom;
    body.remove_prefix(3);
  } else {
    // Plain ASCII stays "ANSI", as the Windows profile functions would write it.
    encoding_ = (!IsAscii(body) && IsValidUtf8(body)) ? Encoding::Utf8 : Encoding::Windows1252;
  }

  auto isNewline = [&](std::size_t i) {
    return body[i] == '\n' && (unit == 1 || (i + 1 < body.size() && body[i + 1] == '\0'));
  };
  auto decode = [&](std::string_view raw) -> std::string {
    if (encoding_ == Encoding::Utf16LeBom) {
      auto text = Utf16LeToUtf8(raw);
      if (!text) throw Exception("The file " + path_ + " is not valid UTF-16");
      return *text;
    }
    if (encoding_ == Encoding::Windows1252) return Windows1252ToUtf8(raw);
    return std::string(raw);
  };

  std::size_t start = 0;
  for (std::size_t i = 0; i < body.size(); i += unit) {
    if (!isNewline(i)) continue;
    const std::size_t end = i + unit;
    std::string_view content = body.substr(start, i - start);
    const std::string_view cr = unit == 1 ? std::string_view("\r") : std::string_view("\r\0", 2);
    if (content.size() >= cr.size() && content.substr(content.size() - cr.size()) == cr)
      content.remove_suffix(cr.size());
    if (lineBreakBytes_.empty())
      lineBreakBytes_ =
          std::string(body.substr(start + content.size(), end - start - content.size()));
    lines_.push_back({decode(content), std::string(body.substr(start, end - start))});
    start = end;
  }
  if (start < body.size())
    lines_.push_back({decode(body.substr(start)), std::string(body.substr(start)), false});
}

std::string IniFile::Encode(const std::string& text) const {
  switch (encoding_) {
    case Encoding::Windows1252:
      if (auto bytes = Utf8ToWindows1252(text)) return *bytes;
      throw Exception("Cannot write \"" + text + "\" to " + path_ +
                      ": the file's Windows-1252 encoding cannot hold it");
    case Encoding::Utf16LeBom:
      if (auto bytes = Utf8ToUtf16Le(text)) return *bytes;
      break;
    case Encoding::Utf8:
    case Encoding::Utf8Bom:
      if (IsValidUtf8(text)) return text;
      break;
  }
  throw Exception("Cannot write \"" + text + "\" to " + path_ + ": the text is not valid UTF-8");
}

std::string IniFile::LineBreak() const {
  if (!lineBreakBytes_.empty()) return lineBreakBytes_;
  return Encode("\r\n");
}

std::size_t IniFile::FindSection(std::string_view section) const {
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    std::string_view name;
    if (SectionName(lines_[i].text, name) && platform::EqualsIgnoringAsciiCase(name, Trim(section)))
      return i;
  }
  return std::string::npos;
}

std::size_t IniFile::FindKey(std::size_t sectionLine, std::string_view key,
                             std::size_t& end) const {
  std::size_t found = std::string::npos;
  end = sectionLine + 1;
  for (std::size_t i = sectionLine + 1; i < lines_.size(); ++i) {
    std::string_view name, value;
    if (SectionName(lines_[i].text, name)) break;
    if (!Trim(lines_[i].text).empty()) end = i + 1;
    if (found == std::string::npos && KeyLine(lines_[i].text, name, value) &&
        platform::EqualsIgnoringAsciiCase(name, Trim(key)))
      found = i;
  }
  return found;
}

std::string IniFile::ReadString(std::string_view section, std::string_view key,
                                std::string_view defaultValue) const {
  const std::size_t sectionLine = FindSection(section);
  if (sectionLine == std::string::npos) return std::string(defaultValue);
  std::size_t end = 0;
  const std::size_t keyLine = FindKey(sectionLine, key, end);
  if (keyLine == std::string::npos) return std::string(defaultValue);
  std::string_view name, value;
  KeyLine(lines_[keyLine].text, name, value);
  return std::string(Unquote(value));
}

void IniFile::WriteString(std::string_view section, std::string_view key, std::string_view value) {
  // Writing what was read would replace the unreadable content with one key.
  if (!unreadable_.empty())
    throw Exception("Cannot write \"" + std::string(key) + "\" to " + path_ +
                    ", since it could not be read: " + unreadable_);
  const std::string newKey = std::string(Trim(key)) + "=" + std::string(value);
  std::size_t sectionLine = FindSection(section);
  if (sectionLine == std::string::npos) {
    CloseLastLine();
    lines_.push_back({"[" + std::string(Trim(section)) + "]", {}});
    lines_.push_back({newKey, {}});
  } else {
    std::size_t end = 0;
    const std::size_t keyLine = FindKey(sectionLine, key, end);
    if (keyLine != std::string::npos) {
      std::string_view name, oldValue;
      KeyLine(lines_[keyLine].text, name, oldValue);
      lines_[keyLine] = {std::string(name) + "=" + std::string(value), {}};
    } else {
      if (end == lines_.size()) CloseLastLine();
      lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(end), Line{newKey, {}});
    }
  }
  Save();
}

void IniFile::CloseLastLine() {
  if (lines_.empty() || lines_.back().hasBreak) return;
  lines_.back().raw += LineBreak();
  lines_.back().hasBreak = true;
}

void IniFile::Save() const {
  std::string bytes;
  if (encoding_ == Encoding::Utf8Bom) bytes += kUtf8Bom;
  if (encoding_ == Encoding::Utf16LeBom) bytes += kUtf16LeBom;
  for (const auto& line : lines_)
    bytes += line.raw.empty() ? Encode(line.text) + LineBreak() : line.raw;
  platform::WriteFileBytes(path_, bytes);
}

}  // namespace rotalis
