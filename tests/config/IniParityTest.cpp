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

  // Names that differ from each other only in case, also beyond ASCII.
  std::string Section() {
    return Text({"posi", "POSI", "Posi", "outra", "se\xC3\xA7\xC3\xA3o", "SE\xC3\x87\xC3\x83O",
                 "\xC3\x84rger"});
  }

  std::string Key() {
    return Text({"nomebanco", "SERVIDOR", "usuario", "Senha", "portabanco", "versao",
                 "a\xC3\xA7\xC3\xA3o", "A\xC3\x87\xC3\x83O", "\xC5\x92uvre", "semigual", ";c",
                 "\xE4\xB8\xAD"});
  }

 private:
  bool Chance(unsigned percent) { return random_() % 100 < percent; }

  std::string Blanks() { return Text({"", "", "", "", " ", "\t", "  ", "\v", "\f", "\x1A"}); }

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
template <class T>
std::string Hex(const T& bytes) {
  return ::testing::PrintToString(bytes);
}

using Questions = std::vector<std::pair<std::string, std::string>>;

// Our answers and Windows' to the questions, on the file at `path`.
std::pair<std::vector<std::string>, std::vector<std::string>> Answers(const std::string& path,
                                                                      const Questions& questions) {
  const IniFile ini(path);
  std::vector<std::string> ours, windows;
  for (const auto& [section, key] : questions) {
    ours.push_back(ini.ReadString(section, key, "padr\xC3\xA3o"));
    windows.push_back(test::WindowsProfileString(path, section, key, "padr\xC3\xA3o"));
  }
  return {ours, windows};
}

TEST(IniParity, OddFilesReadAndWriteAsWindows) {
  constexpr int kFiles = 2000;
  test::TempFolder dir;
  OddIniFiles corpus(20251125);
  int mismatches = 0;
  const auto expectSame = [&](const auto& ours, const auto& windows, const std::string& what,
                              const std::string& bytes) {
    if (ours != windows && ++mismatches <= 20)
      ADD_FAILURE() << what << "\nours:    " << Hex(ours) << "\nWindows: " << Hex(windows)
                    << "\nfile: " << Hex(bytes);
  };
  for (int i = 0; i < kFiles; ++i) {
    const auto encoding = corpus.NextEncoding();
    const std::string bytes = corpus.File(encoding);
    const std::string name = "f" + std::to_string(i);
    // Windows reads a file again at every question: a few of them per file.
    Questions questions;
    for (int q = 0; q < 6; ++q) questions.emplace_back(corpus.Section(), corpus.Key());
    const auto [ours, windows] = Answers(dir.Write(name + ".ini", bytes), questions);
    expectSame(ours, windows, "read " + Hex(questions), bytes);

    // The same write through both writers, then every question again: each
    // reader gives on our file what Windows gives on its own.
    const std::string section = corpus.Section();
    std::string key = corpus.Key();
    while (!corpus.Holds(encoding, key)) key = corpus.Key();
    const std::string value = corpus.Value(encoding);
    const std::string write = "[" + section + "] " + key + "=" + Hex(value) + " ";
    const std::string byWindows = dir.Write(name + "-w.ini", bytes);
    const std::string byUs = dir.Write(name + "-r.ini", bytes);
    if (!test::WindowsWriteProfileString(byWindows, section, key, value)) {
      ADD_FAILURE() << write << "refused by Windows\nfile: " << Hex(bytes);
      continue;
    }
    try {
      IniFile(byUs).WriteString(section, key, value);
    } catch (const Exception& error) {
      ADD_FAILURE() << write << "refused by us: " << error.what() << "\nfile: " << Hex(bytes);
      continue;
    }
    questions.emplace_back(section, key);
    const auto [oursOnTheirs, theirs] = Answers(byWindows, questions);
    const auto [oursOnOurs, windowsOnOurs] = Answers(byUs, questions);
    expectSame(oursOnTheirs, theirs, write + "by Windows " + Hex(questions), bytes);
    expectSame(oursOnOurs, theirs, write + "by us " + Hex(questions), bytes);
    expectSame(windowsOnOurs, theirs, write + "by us, read by Windows " + Hex(questions), bytes);
  }
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace rotalis
