// The INI reader and writer against Windows' own profile functions, on the
// same files: every question must get the same answer, byte for byte, before
// and after a write. The hand-written file is asked in tests/config/IniFileTest.cpp.

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "config/IniFile.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/TextEncoding.h"
#include "tests/config/WindowsProfile.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

// A corpus of odd files, made the same on every run: each encoding Windows
// tells apart (none, so ANSI; UTF-8, UTF-16LE and UTF-16BE by BOM), line ends
// of every kind (a lone CR, the last line without one), blanks Windows trims,
// NULs, bytes the encoding cannot decode, quotes, comments, keys without "=",
// a "[" without "]", names that differ only in case, sections repeated.
class OddIniFiles {
 public:
  enum class Encoding { Ansi, Utf8Bom, Utf16Le, Utf16Be, Utf16WithoutBom };

  explicit OddIniFiles(std::uint32_t seed) : random_(seed) {}

  Encoding NextEncoding() {
    using enum Encoding;
    return Any(
        {Ansi, Ansi, Ansi, Ansi, Utf8Bom, Utf8Bom, Utf16Le, Utf16Le, Utf16Be, Utf16WithoutBom});
  }

  std::string File(Encoding encoding) {
    std::string bytes;
    if (encoding == Encoding::Utf8Bom) bytes = "\xEF\xBB\xBF";
    if (encoding == Encoding::Utf16Le) bytes = "\xFF\xFE";
    if (encoding == Encoding::Utf16Be) bytes = "\xFE\xFF";
    const std::size_t lines = 1 + Pick(12);
    for (std::size_t i = 0; i < lines; ++i) {
      std::string line = Encode(Line(), encoding);
      if (Chance(8)) line.insert(Pick(line.size() + 1), Noise(encoding));
      bytes += line;
      if (i + 1 < lines || Chance(70)) bytes += Encode(LineEnd(), encoding);
    }
    return bytes;
  }

  // Whether the file's encoding can hold the text.
  static bool Holds(Encoding encoding, const std::string& text) {
    return (encoding != Encoding::Ansi && encoding != Encoding::Utf16WithoutBom) ||
           Utf8ToWindows1252(text).has_value();
  }

  // A value to write that the file's encoding can hold.
  std::string Value(Encoding encoding) {
    while (true) {
      const std::string value = Text({"25285014", "\xC3\x83\xE2\x80\x9D" /* Ã” */,
                                      "a\xC3\xA7\xC3\xA3o", "  espa\xC3\xA7os  ", "\"q\"",
                                      "\xE2\x82\xAC" /* € */, "\xE4\xB8\xAD" /* 中 */, "", "x=y"});
      if (Holds(encoding, value)) return value;
    }
  }

  std::size_t Pick(std::size_t count) { return random_() % count; }

  template <class T>
  T Any(std::initializer_list<T> items) {
    return items.begin()[Pick(items.size())];
  }

 private:
  bool Chance(unsigned percent) { return random_() % 100 < percent; }

  std::string Blanks() { return Text({"", "", "", "", " ", "\t", "  ", "\v", "\f", "\x1A"}); }

  std::string Section() {
    return Text({"posi", "POSI", "Posi", "outra", "se\xC3\xA7\xC3\xA3o", "SE\xC3\x87\xC3\x83O",
                 "\xC3\x84rger"});
  }

  std::string Key() {
    return Text({"nomebanco", "SERVIDOR", "usuario", "Senha", "portabanco", "versao",
                 "a\xC3\xA7\xC3\xA3o", "A\xC3\x87\xC3\x83O", "\xC5\x92uvre", "semigual", ";c",
                 "\xE4\xB8\xAD"});
  }

  std::string Value() {
    return Text({"", "erp_loja", "127.0.0.1", "\"admin\"", "'s3nha'", "\"um'", "a \"b\" c", "\"\"",
                 "'", "x=y", "Opera\xC3\xA7\xC3\xA3o", "\xC3\x83\xE2\x80\x9D", "\xE2\x82\xAC 5",
                 "\xE4\xB8\xAD\xE6\x96\x87", "\xF0\x9F\x98\x80"});
  }

  std::string Text(std::initializer_list<std::string_view> items) {
    return std::string(Any(items));
  }

  std::string Line() {
    switch (Pick(10)) {
      case 0:
        return Blanks();
      case 1:
      case 2: {
        return Blanks() + "[" + Blanks() + Section() + Blanks() +
               Text({"]", "]", "]", "]", "", "]x]", "] ;c"}) + Blanks();
      }
      case 8:
        return Blanks() + Key() + Blanks();
      case 9:
        return ";" + Key() + "=" + Value();
      default:
        return Blanks() + Key() + Blanks() + "=" + Blanks() + Value() + Blanks();
    }
  }

  std::string LineEnd() {
    return Text({"\r\n", "\r\n", "\r\n", "\n", "\n", "\r", "\r", "\n\r", "\r\r\n"});
  }

  static std::string Encode(const std::string& text, Encoding encoding) {
    switch (encoding) {
      case Encoding::Ansi:
        return *Utf8ToWindows1252(FitToWindows1252(text));
      case Encoding::Utf8Bom:
        return text;
      case Encoding::Utf16Le:
        return *Utf8ToUtf16Le(text);
      case Encoding::Utf16Be: {
        std::string bytes = *Utf8ToUtf16Le(text);
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
        return bytes;
      }
      case Encoding::Utf16WithoutBom:
        return *Utf8ToUtf16Le(FitToWindows1252(text));
    }
    return text;
  }

  // Bytes the encoding does not expect, in whole code units.
  std::string Noise(Encoding encoding) {
    using std::string_view;
    switch (encoding) {
      case Encoding::Ansi:
        return Text({string_view("\0", 1), "\x81", "\x8D", "\xA0", "\xC3\x94", "\xFF"});
      case Encoding::Utf8Bom:
        return Text({string_view("\0", 1), "\xE7\xE3", "\x80", "\xE2\x82", "\xC0\xAF",
                     "\xED\xA0\x80", "\xF5", "\xF0\x9F\x98", "\xC3"});
      case Encoding::Utf16Le:
      case Encoding::Utf16WithoutBom:
        return Utf16Noise();
      case Encoding::Utf16Be: {
        std::string unit = Utf16Noise();
        std::swap(unit[0], unit[1]);
        return unit;
      }
    }
    return {};
  }

  std::string Utf16Noise() {
    using std::string_view;
    return Text({string_view("\0\0", 2), string_view("\0\xD8", 2), string_view("\0\xDC", 2),
                 string_view("\xA0\0", 2)});
  }

  std::mt19937 random_;
};

// Escaped bytes, so that a failure shows what the file holds.
std::string Hex(const std::string& bytes) { return ::testing::PrintToString(bytes); }

TEST(IniParity, OddFilesReadAndWriteAsWindows) {
  constexpr int kFiles = 2000;
  const std::vector<std::string> sections = {"posi", "outra", "se\xC3\xA7\xC3\xA3o",
                                             "\xC3\xA4rger"};
  const std::vector<std::string> keys = {
      "nomebanco",   "servidor", "usuario",      "senha", "portabanco",
      "Versao",      "semigual", "\xC5\x93uvre", ";c",    "a\xC3\xA7\xC3\xA3o",
      "\xE4\xB8\xAD"};
  test::TempFolder dir;
  OddIniFiles corpus(20251125);
  int mismatches = 0;
  const auto report = [&](const std::string& what, const std::string& bytes) {
    if (++mismatches <= 20) ADD_FAILURE() << what << "\nfile: " << Hex(bytes);
  };
  // The questions of the file at `path`, answered by the reader and by
  // Windows, against `expected` (Windows' answers on another file) when given.
  using Questions = std::vector<std::pair<std::string, std::string>>;
  const auto compare = [&](const std::string& path, const std::string& bytes, const char* stage,
                           const Questions& questions, const std::vector<std::string>* expected,
                           std::vector<std::string>* answers) {
    const IniFile ini(path);
    for (std::size_t n = 0; n < questions.size(); ++n) {
      const auto& [section, key] = questions[n];
      const std::string ours = ini.ReadString(section, key, "padr\xC3\xA3o");
      const std::string windows = test::WindowsProfileString(path, section, key, "padr\xC3\xA3o");
      const std::string trace = std::string(stage) + " [" + section + "] " + key + ": ours " +
                                Hex(ours) + ", Windows " + Hex(windows);
      if (ours != windows) report(trace, bytes);
      if (!IsValidUtf8(ours)) report(trace + " (invalid UTF-8)", bytes);
      if (expected && (*expected)[n] != windows)
        report(trace + ", Windows on its own write " + Hex((*expected)[n]), bytes);
      if (answers) answers->push_back(windows);
    }
  };

  for (int i = 0; i < kFiles; ++i) {
    const auto encoding = corpus.NextEncoding();
    const std::string bytes = corpus.File(encoding);
    const std::string name = "f" + std::to_string(i);
    // Windows reads a file again at every question: a few of them per file.
    Questions questions;
    for (int q = 0; q < 6; ++q)
      questions.emplace_back(sections[corpus.Pick(sections.size())],
                             keys[corpus.Pick(keys.size())]);
    compare(dir.Write(name + ".ini", bytes), bytes, "read", questions, nullptr, nullptr);

    // The same write through both writers, then every question again.
    const std::string section = sections[corpus.Pick(2)];
    std::string key = keys[corpus.Pick(keys.size())];
    while (!corpus.Holds(encoding, key)) key = keys[corpus.Pick(keys.size())];
    const std::string value = corpus.Value(encoding);
    const std::string byWindows = dir.Write(name + "-w.ini", bytes);
    const std::string byUs = dir.Write(name + "-r.ini", bytes);
    if (!test::WindowsWriteProfileString(byWindows, section, key, value)) {
      report("Windows refused to write [" + section + "] " + key, bytes);
      continue;
    }
    try {
      IniFile(byUs).WriteString(section, key, value);
    } catch (const Exception& error) {
      report(std::string("the writer refused: ") + error.what(), bytes);
      continue;
    }
    questions.emplace_back(section, key);
    std::vector<std::string> windowsAnswers;
    compare(byWindows, platform::ReadFileBytes(byWindows), "Windows' write", questions, nullptr,
            &windowsAnswers);
    compare(byUs, platform::ReadFileBytes(byUs),
            ("our write of [" + section + "] " + key + "=" + Hex(value)).c_str(), questions,
            &windowsAnswers, nullptr);
  }
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace rotalis
