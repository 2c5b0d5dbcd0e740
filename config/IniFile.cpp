#include "config/IniFile.h"

#include <utility>

#include "platform/AsciiCase.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/TextEncoding.h"

namespace rotalis {
namespace {

constexpr std::string_view kUtf8Bom = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LeBom = "\xFF\xFE";
constexpr std::string_view kUtf16BeBom = "\xFE\xFF";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// What Windows trims around names and values: the ASCII blanks and ^Z (a DOS
// end-of-file mark that old files still carry).
constexpr std::string_view kBlanks = " \t\n\v\f\r\x1A";

std::string_view TrimLeft(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string_view TrimRight(std::string_view text) {
  const auto last = text.find_last_not_of(kBlanks);
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

std::string_view Trim(std::string_view text) { return TrimRight(TrimLeft(text)); }

// Windows keeps names and values as C strings: a NUL read from the file ends
// them there.
std::string_view UpToNul(std::string_view text) { return text.substr(0, text.find('\0')); }

// The section name of a "[name]" line (up to its last "]"), or nothing for
// other lines; a "[" line without "]" is a key line.
bool SectionName(std::string_view line, std::string_view& name) {
  line = Trim(line);
  if (line.empty() || line.front() != '[') return false;
  const auto close = line.rfind(']');
  if (close == std::string_view::npos) return false;
  name = UpToNul(Trim(line.substr(1, close - 1)));
  return true;
}

// Key and raw value of a key line, which is every non-blank line that is not
// a section; `hasValue` is false for a line without "=", whose key reads as
// missing. Windows has no comment lines as such: ";portabanco=3307" is a key
// named ";portabanco", which no one asks for, so it only acts like a comment.
bool KeyLine(std::string_view line, std::string_view& key, std::string_view& value,
             bool& hasValue) {
  line = Trim(line);
  std::string_view section;
  if (line.empty() || SectionName(line, section)) return false;
  const auto equals = line.find('=');
  hasValue = equals != std::string_view::npos;
  if (!hasValue) {
    key = UpToNul(line);
    value = {};
    return true;
  }
  key = UpToNul(TrimRight(line.substr(0, equals)));
  value = UpToNul(TrimLeft(line.substr(equals + 1)));
  return true;
}

std::string_view Unquote(std::string_view value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front())
    return value.substr(1, value.size() - 2);
  return value;
}

// UTF-16 (without BOM, even length) to UTF-8; a lone surrogate reads as
// U+FFFD, as Windows hands it on.
std::string Utf16ToUtf8(std::string_view bytes, bool bigEndian) {
  auto unitAt = [&](std::size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(bigEndian ? (first << 8) | second : (second << 8) | first);
  };
  std::string out;
  out.reserve(bytes.size());
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char32_t unit = unitAt(i);
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 3 < bytes.size() && unitAt(i + 2) >= 0xDC00 &&
        unitAt(i + 2) <= 0xDFFF) {
      AppendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 2) - 0xDC00));
      i += 2;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      out += kReplacement;
    } else {
      AppendUtf8(out, unit);
    }
  }
  return out;
}

std::string SwapPairs(std::string bytes) {
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
  return bytes;
}

}  // namespace

IniFile::IniFile(std::string path) : path_(std::move(path)) {
  // A file that cannot be read (no permission, a folder of that name, UTF-16
  // of odd length) reads as a missing one does: every key gives its default.
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
  // Only a BOM says anything but the ANSI code page: bytes that happen to be
  // valid UTF-8 are ANSI text to Windows, and must stay so after a write.
  if (body.starts_with(kUtf8Bom)) {
    encoding_ = Encoding::Utf8Bom;
    body.remove_prefix(kUtf8Bom.size());
  } else if (body.starts_with(kUtf16LeBom)) {
    encoding_ = Encoding::Utf16LeBom;
    body.remove_prefix(kUtf16LeBom.size());
  } else if (body.starts_with(kUtf16BeBom)) {
    encoding_ = Encoding::Utf16BeBom;
    body.remove_prefix(kUtf16BeBom.size());
  }
  const bool wide = encoding_ == Encoding::Utf16LeBom || encoding_ == Encoding::Utf16BeBom;
  const std::size_t unit = wide ? 2 : 1;
  if (wide && body.size() % 2 != 0)
    throw Exception("The file " + path_ + " is not valid UTF-16: its length is odd");
  auto unitAt = [&](std::size_t i) -> char32_t {
    if (!wide) return static_cast<unsigned char>(body[i]);
    const auto first = static_cast<unsigned char>(body[i]);
    const auto second = static_cast<unsigned char>(body[i + 1]);
    return encoding_ == Encoding::Utf16BeBom ? (first << 8) | second : (second << 8) | first;
  };

  // CR, LF and CRLF all end a line, as they do for Windows.
  std::size_t start = 0;
  for (std::size_t i = 0; i < body.size();) {
    const char32_t c = unitAt(i);
    if (c != '\r' && c != '\n') {
      i += unit;
      continue;
    }
    std::size_t end = i + unit;
    if (c == '\r' && end < body.size() && unitAt(end) == '\n') end += unit;
    if (lineBreakBytes_.empty()) lineBreakBytes_ = std::string(body.substr(i, end - i));
    lines_.push_back(
        {Decode(body.substr(start, i - start)), std::string(body.substr(start, end - start))});
    start = i = end;
  }
  if (start < body.size())
    lines_.push_back({Decode(body.substr(start)), std::string(body.substr(start)), false});
}

std::string IniFile::Decode(std::string_view bytes) const {
  switch (encoding_) {
    case Encoding::Windows1252:
      return Windows1252ToUtf8(bytes);
    case Encoding::Utf8Bom:
      return ReplaceInvalidUtf8(bytes);
    case Encoding::Utf16LeBom:
      return Utf16ToUtf8(bytes, false);
    case Encoding::Utf16BeBom:
      return Utf16ToUtf8(bytes, true);
  }
  return {};
}

std::string IniFile::Encode(const std::string& text) const {
  switch (encoding_) {
    case Encoding::Windows1252:
      if (auto bytes = Utf8ToWindows1252(text)) return *bytes;
      if (!IsValidUtf8(text)) break;
      throw Exception("Cannot write \"" + text + "\" to " + path_ +
                      ": the file's Windows-1252 encoding cannot hold it");
    case Encoding::Utf16LeBom:
      if (auto bytes = Utf8ToUtf16Le(text)) return *bytes;
      break;
    case Encoding::Utf16BeBom:
      if (auto bytes = Utf8ToUtf16Le(text)) return SwapPairs(*bytes);
      break;
    case Encoding::Utf8Bom:
      if (IsValidUtf8(text)) return text;
      break;
  }
  throw Exception("Cannot write \"" + ReplaceInvalidUtf8(text) + "\" to " + path_ +
                  ": the text is not valid UTF-8");
}

// New lines end as the file's own do, except where those are a lone CR:
// written before a line that starts with LF, it would join that LF into one
// CRLF and swallow the line. Such files get CRLF, as Windows writes it.
std::string IniFile::LineBreak() const {
  if (!lineBreakBytes_.empty() && lineBreakBytes_ != Encode("\r")) return lineBreakBytes_;
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
    bool hasValue = false;
    if (SectionName(lines_[i].text, name)) break;
    if (!Trim(lines_[i].text).empty()) end = i + 1;
    if (found == std::string::npos && KeyLine(lines_[i].text, name, value, hasValue) &&
        platform::EqualsIgnoringAsciiCase(name, Trim(key)))
      found = i;
  }
  return found;
}

std::string IniFile::ReadString(std::string_view section, std::string_view key,
                                std::string_view defaultValue) const {
  // Windows answers an empty key name with empty text, not the default.
  if (key.empty()) return {};
  const std::size_t sectionLine = FindSection(section);
  if (sectionLine == std::string::npos) return std::string(defaultValue);
  std::size_t end = 0;
  const std::size_t keyLine = FindKey(sectionLine, key, end);
  if (keyLine == std::string::npos) return std::string(defaultValue);
  std::string_view name, value;
  bool hasValue = false;
  KeyLine(lines_[keyLine].text, name, value, hasValue);
  if (!hasValue) return std::string(defaultValue);
  return std::string(Unquote(value));
}

void IniFile::CheckWritable(std::string_view section, std::string_view key,
                            std::string_view value) const {
  const std::string what = "Cannot write \"" + ReplaceInvalidUtf8(key) + "\" to " + path_;
  // Windows would write a line break as it is, making lines of its own out
  // of the rest of the text.
  for (std::string_view text : {section, key, value})
    if (text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
      throw Exception(what + ": a line break or NUL in the section, key or value");
  if (Trim(section).empty() || Trim(key).empty())
    throw Exception(what + ": the section and key names must not be empty");
  if (key.find('=') != std::string_view::npos)
    throw Exception(what + ": a key name cannot hold \"=\"");
  if (Trim(key).front() == '[') throw Exception(what + ": a key name cannot start with \"[\"");
}

void IniFile::WriteString(std::string_view section, std::string_view key, std::string_view value) {
  // Writing what was read would replace the unreadable content with one key.
  if (!unreadable_.empty())
    throw Exception("Cannot write \"" + std::string(key) + "\" to " + path_ +
                    ", since it could not be read: " + unreadable_);
  CheckWritable(section, key, value);
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
      bool hasValue = false;
      KeyLine(lines_[keyLine].text, name, oldValue, hasValue);
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
  if (encoding_ == Encoding::Utf16BeBom) bytes += kUtf16BeBom;
  for (const auto& line : lines_)
    bytes += line.raw.empty() ? Encode(line.text) + LineBreak() : line.raw;
  platform::WriteFileBytes(path_, bytes);
}

}  // namespace rotalis
