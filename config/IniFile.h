#pragma once
// A Windows profile (INI) file, read and written by the rules of the Windows
// profile functions: CR, LF and CRLF end lines; section and key names compared
// ignoring ASCII case, the first matching section and key win; blanks (space, tab,
// VT, FF, ^Z) around names and values trimmed; a NUL ends a name or a value;
// one pair of enclosing quotes removed from a value; a ";" line is a key no one
// asks for (so, in effect, a comment); and a missing file, section or key, or
// a key line without "=", gives the default while a present-but-empty value
// gives empty text.
//
// The encoding is the one Windows sees: UTF-16 (LE or BE) or UTF-8 when the
// file starts with that BOM, else the ANSI code page (Windows-1252), whatever
// the bytes look like. Text in and out is UTF-8; bytes the encoding cannot
// decode read as U+FFFD. A write changes only the line it concerns (or adds
// one) and keeps the file's encoding and every other byte as it was.

#include <string>
#include <string_view>
#include <vector>

namespace rotalis {

class IniFile {
 public:
  enum class Encoding { Windows1252, Utf8Bom, Utf16LeBom, Utf16BeBom };

  // Loads the file now; a missing file is an empty one (created on write). A
  // file that cannot be read or decoded reads as missing too, but is never
  // written: WriteString raises instead.
  explicit IniFile(std::string path);

  const std::string& FileName() const { return path_; }
  Encoding FileEncoding() const { return encoding_; }

  std::string ReadString(std::string_view section, std::string_view key,
                         std::string_view defaultValue) const;

  // Sets the key and saves the file at once; raises rotalis::Exception when
  // the file cannot be written, its encoding cannot hold the text, or the
  // text would read back as other lines (a line break or NUL anywhere, "=" in
  // the key, a key starting with "[", an empty section or key name).
  void WriteString(std::string_view section, std::string_view key, std::string_view value);

 private:
  struct Line {
    std::string text;  // decoded, without the line break
    std::string raw;   // the original bytes with their line break; empty when new or changed
    bool hasBreak = true;
  };
  struct Entry {
    std::string key;
    std::string value;
  };

  void Load();
  void Save() const;
  std::string Decode(std::string_view bytes) const;
  std::string Encode(const std::string& text) const;
  // Raises when the text would not read back as this one key line.
  void CheckWritable(std::string_view section, std::string_view key, std::string_view value) const;
  std::string LineBreak() const;
  // Gives the last line its line break before anything is added after it.
  void CloseLastLine();
  // Index of the first line of the first section of that name, or npos.
  std::size_t FindSection(std::string_view section) const;
  // Index of the section's first key line of that name (with or without
  // "="), or npos; `end` gets the index after the section's last non-blank
  // line.
  std::size_t FindKey(std::size_t sectionLine, std::string_view key, std::size_t& end) const;

  std::string path_;
  Encoding encoding_ = Encoding::Windows1252;
  std::string lineBreakBytes_;  // the file's own line break, encoded
  std::vector<Line> lines_;
  std::string unreadable_;  // why the file could not be read; empty when it could
};

}  // namespace rotalis
