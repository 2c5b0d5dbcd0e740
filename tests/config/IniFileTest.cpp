#include "config/IniFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/TextEncoding.h"
#include "tests/support/TempFolder.h"
#if defined(_WIN32)
#include "tests/config/WindowsProfile.h"
#include "tests/support/HeldFile.h"
#endif

namespace rotalis {
namespace {

// A configuration file as people write it: missing versus empty, quotes of
// both kinds (matched, unmatched, inner), blanks and tabs around names and
// values, case, comments, lines without "=", repeated keys, a blank line and
// a repeated section.
constexpr const char* kErpIni =
    "; configuração\r\n"
    "[posi]\r\n"
    "  NomeBanco =  erp_loja  \r\n"
    "servidor=\r\n"
    "usuario=\"admin\"\r\n"
    "senha='s3nha'\r\n"
    "aspas=\"um'\r\n"
    "dentro=a \"b\" c\r\n"
    "sozinha=\"\r\n"
    "vazias=\"\"\r\n"
    "\ttab\t=\tvalor\t\r\n"
    ";portabanco=3307\r\n"
    "semigual\r\n"
    "servidor=segunda\r\n"
    "igual==x\r\n"
    "acentos=ação €\r\n"
    "\r\n"
    "[ Outra Secao ]\r\n"
    "chave = v1\r\n"
    "[posi]\r\n"
    "portabanco=9999\r\n"
    "nomebanco=repetida\r\n"
    "[vazia]\r\n";

// The file in each form a workstation may hold it: ANSI, UTF-16 with a BOM,
// with Unix line breaks, and not there at all. Where the tests run on
// Windows, its own profile functions must give the same answers (a comment
// line, too, answers when asked for by its whole line).
TEST(IniFile, ReadsAsWindowsDoes) {
  struct Question {
    const char* section;
    const char* key;
    const char* answer;
  };
  constexpr Question kQuestions[] = {
      {"posi", "nomebanco", "erp_loja"},
      {"POSI", "NOMEBANCO", "erp_loja"},
      {"posi", "servidor", ""},
      {"posi", "usuario", "admin"},
      {"posi", "senha", "s3nha"},
      {"posi", "aspas", "\"um'"},
      {"posi", "dentro", "a \"b\" c"},
      {"posi", "sozinha", "\""},
      {"posi", "vazias", ""},
      {"posi", "tab", "valor"},
      {"posi", "portabanco", "padrão"},
      {"posi", ";portabanco", "3307"},
      {"posi", "semigual", "padrão"},
      {"posi", "igual", "=x"},
      {"posi", "acentos", "ação €"},
      {"posi", "falta", "padrão"},
      {"outra secao", "chave", "v1"},
      {" Outra Secao ", "chave", "v1"},
      {"vazia", "x", "padrão"},
      {"nenhuma", "x", "padrão"},
  };
  std::string lf = kErpIni;
  for (std::size_t at = lf.find("\r\n"); at != std::string::npos; at = lf.find("\r\n", at))
    lf.erase(at, 1);
  const std::pair<const char*, std::optional<std::string>> files[] = {
      {"ansi.ini", Utf8ToWindows1252(kErpIni)},
      {"utf16.ini", "\xFF\xFE" + *Utf8ToUtf16Le(kErpIni)},
      {"lf.ini", Utf8ToWindows1252(lf)},
      {"ausente.ini", std::nullopt},
  };
  test::TempFolder dir;
  for (const auto& [name, bytes] : files) {
    const std::string path = bytes ? dir.Write(name, *bytes) : dir / name;
    const IniFile ini(path);
    for (const Question& q : kQuestions) {
      SCOPED_TRACE(std::string(name) + " [" + q.section + "] " + q.key);
      const std::string answer = bytes ? q.answer : "padrão";
      EXPECT_EQ(ini.ReadString(q.section, q.key, "padrão"), answer);
#if defined(_WIN32)
      EXPECT_EQ(test::WindowsProfileString(path, q.section, q.key, "padrão"), answer);
#endif
    }
  }
}

TEST(IniFile, WritesInPlaceKeepingEveryOtherByte) {
  test::TempFolder dir;
  const std::string path = dir.Write("erp.ini", kErpIni);
  IniFile ini(path);
  ini.WriteString("posi", "SERVIDOR", "db.local");
  std::string expected = kErpIni;
  expected.replace(expected.find("servidor=\r\n"), 11, "servidor=db.local\r\n");
  EXPECT_EQ(dir.Read("erp.ini"), expected);

  // A new key goes to the end of its section, before the blank line.
  ini.WriteString("posi", "Versao", "25285014");
  expected.insert(expected.find("\r\n\r\n[ Outra") + 2, "Versao=25285014\r\n");
  EXPECT_EQ(dir.Read("erp.ini"), expected);
  EXPECT_EQ(IniFile(path).ReadString("posi", "versao", ""), "25285014");
}

TEST(IniFile, AddsSectionsAndCreatesFiles) {
  test::TempFolder dir;
  const std::string path = dir.Write("a.ini", "[geral]\nx=1");  // LF, no final break
  IniFile(path).WriteString("posi", "Versao", "10234");
  EXPECT_EQ(dir.Read("a.ini"), "[geral]\nx=1\n[posi]\nVersao=10234\n");

  IniFile created(dir / "new.ini");
  created.WriteString("posi", "Versao", "10234");
  EXPECT_EQ(dir.Read("new.ini"), "[posi]\r\nVersao=10234\r\n");
}

TEST(IniFile, KeepsEachEncoding) {
  test::TempFolder dir;
  // Windows-1252: "Operação" with ç = E7, ã = E3.
  const std::string ansi = dir.Write("ansi.ini", "[posi]\r\nnomebanco=Opera\xE7\xE3o\r\n");
  IniFile(ansi).WriteString("posi", "usuario", "Jo\xC3\xA3o");  // UTF-8 in
  EXPECT_EQ(dir.Read("ansi.ini"), "[posi]\r\nnomebanco=Opera\xE7\xE3o\r\nusuario=Jo\xE3o\r\n");
  EXPECT_EQ(IniFile(ansi).ReadString("posi", "nomebanco", ""), "Opera\xC3\xA7\xC3\xA3o");
  EXPECT_THROW(IniFile(ansi).WriteString("posi", "x", "\xE2\x82\xAC\xE4\xB8\xAD"), Exception);

  const std::string utf8 = dir.Write("utf8.ini", "\xEF\xBB\xBF[posi]\nsenha=ma\xC3\xA7\xC3\xA3\n");
  IniFile(utf8).WriteString("posi", "Versao", "1");
  EXPECT_EQ(dir.Read("utf8.ini"), "\xEF\xBB\xBF[posi]\nsenha=ma\xC3\xA7\xC3\xA3\nVersao=1\n");
  EXPECT_EQ(IniFile(utf8).ReadString("posi", "senha", ""), "ma\xC3\xA7\xC3\xA3");

  const std::string utf16 = "\xFF\xFE" + *Utf8ToUtf16Le("[posi]\r\nnomebanco=S\xC3\xA9\r\n");
  const std::string wide = dir.Write("wide.ini", utf16);
  EXPECT_EQ(IniFile(wide).ReadString("POSI", "NOMEBANCO", ""), "S\xC3\xA9");
  IniFile(wide).WriteString("posi", "Versao", "7");
  EXPECT_EQ(dir.Read("wide.ini"), utf16 + *Utf8ToUtf16Le("Versao=7\r\n"));
}

// A file without a BOM is read in the ANSI code page whatever its bytes look
// like, so what a write put there reads back as written, and the rest of the
// file keeps reading the same after it.
TEST(IniFile, FileWithoutBomStaysAnsiAcrossWrites) {
  test::TempFolder dir;
  const std::string path = dir.Write("erp.ini", "[posi]\r\nservidor=db\r\n");
  // "Ã”" in Windows-1252 is C3 94, which also happens to be UTF-8 for "Ô".
  IniFile(path).WriteString("posi", "usuario", "\xC3\x83\xE2\x80\x9D");
  EXPECT_EQ(dir.Read("erp.ini"), "[posi]\r\nservidor=db\r\nusuario=\xC3\x94\r\n");
  IniFile again(path);
  EXPECT_EQ(again.FileEncoding(), IniFile::Encoding::Windows1252);
  EXPECT_EQ(again.ReadString("posi", "usuario", ""), "\xC3\x83\xE2\x80\x9D");
  again.WriteString("posi", "senha", "\xC3\xA7");  // ç
  EXPECT_EQ(IniFile(path).ReadString("posi", "usuario", ""), "\xC3\x83\xE2\x80\x9D");
  EXPECT_EQ(IniFile(path).ReadString("posi", "senha", ""), "\xC3\xA7");

  // UTF-8 bytes without a BOM are Windows-1252 text to Windows too.
  const std::string utf8 = dir.Write("utf8.ini", "[posi]\nnomebanco=a\xC3\xA7\n");
  EXPECT_EQ(IniFile(utf8).ReadString("posi", "nomebanco", ""), "a\xC3\x83\xC2\xA7");
}

// Odd bytes and line ends, read as the Windows profile functions read them.
TEST(IniFile, ReadsOddLinesAsWindowsDoes) {
  struct Case {
    std::string bytes, section, key, expected;
  };
  const std::vector<Case> cases = {
      // A lone CR ends a line, also the last one.
      {"[posi]\r\nVersao=1\r", "posi", "Versao", "1"},
      {"[posi]\rVersao=1\rservidor=x", "posi", "servidor", "x"},
      {"[posi]\rVersao=1\rservidor=x", "posi", "Versao", "1"},
      // A NUL ends a name or a value.
      {std::string("[posi]\nsenha=ab\0cd\n", 19), "posi", "senha", "ab"},
      {std::string("[po\0x]\nsenha=1\n", 15), "posi", "senha", "d"},
      {std::string("[po\0x]\nsenha=1\n", 15), "po", "senha", "1"},
      // Vertical tab, form feed and ^Z are blanks around names and values.
      {"[posi]\n\v senha \f= \x1A"
       "x\x1A\n",
       "posi", "senha", "x"},
      // "[" without "]" is a key line, not a section.
      {"[posi]\n[outra\nsenha=1\n", "posi", "senha", "1"},
      // The last "]" closes the name.
      {"[a]b]\nsenha=1\n", "a]b", "senha", "1"},
      // A key without "=" hides a later one of the same name.
      {"[posi]\nsenha\nsenha=1\n", "posi", "senha", "d"},
  };
  test::TempFolder dir;
  for (const Case& c : cases) {
    const IniFile ini(dir.Write("odd.ini", c.bytes));
    EXPECT_EQ(ini.ReadString(c.section, c.key, "d"), c.expected) << testing::PrintToString(c.bytes);
  }

  // A write after a lone CR keeps the line it ends.
  const std::string path = dir.Write("cr.ini", "[posi]\r\nVersao=1\r");
  IniFile(path).WriteString("posi", "usuario", "u");
  EXPECT_EQ(IniFile(path).ReadString("posi", "Versao", ""), "1");
  EXPECT_EQ(IniFile(path).ReadString("posi", "usuario", ""), "u");

  // In a file whose breaks are lone CRs, a new line before an empty LF line
  // keeps that line, and the same write again changes no byte.
  const std::string mixed = dir.Write("mixed.ini", "[posi]\rnomebanco=erp\n\n");
  IniFile(mixed).WriteString("posi", "Versao", "1");
  const std::string once = dir.Read("mixed.ini");
  EXPECT_EQ(once, "[posi]\rnomebanco=erp\nVersao=1\r\n\n");
  IniFile(mixed).WriteString("posi", "Versao", "1");
  EXPECT_EQ(dir.Read("mixed.ini"), once);
}

// Whatever the file holds, what the reader gives back is valid UTF-8.
TEST(IniFile, ReturnsValidUtf8FromInvalidBytes) {
  test::TempFolder dir;
  const std::string path =
      dir.Write("bom.ini", "\xEF\xBB\xBF[posi]\r\nnomebanco=Opera\xE7\xE3o\r\nsenha=\xE2\x82\r\n");
  const IniFile ini(path);
  EXPECT_EQ(ini.ReadString("posi", "nomebanco", ""), "Opera\xEF\xBF\xBD\xEF\xBF\xBDo");
  EXPECT_TRUE(IsValidUtf8(ini.ReadString("posi", "senha", "")));
  // Writing another key keeps those bytes as they were.
  IniFile(path).WriteString("posi", "Versao", "1");
  EXPECT_EQ(dir.Read("bom.ini"),
            "\xEF\xBB\xBF[posi]\r\nnomebanco=Opera\xE7\xE3o\r\nsenha=\xE2\x82\r\nVersao=1\r\n");

  // A lone surrogate in UTF-16 is one unreadable character, not an unreadable file.
  const std::string wide =
      dir.Write("wide.ini", std::string("\xFF\xFE[\0p\0]\0\n\0k\0=\0\x00\xD8x\0\n\0", 20));
  EXPECT_EQ(IniFile(wide).ReadString("p", "k", ""), "\xEF\xBF\xBDx");
}

// A write never adds or changes lines other than its own.
TEST(IniFile, RefusesTextThatWouldChangeOtherLines) {
  struct Case {
    std::string section, key, value;
  };
  const std::vector<Case> cases = {
      {"posi", "senha", "1\r\nportabanco=9999"},
      {"posi", "senha", "1\rportabanco=9999"},
      {"posi", "senha", "1\nportabanco=9999"},
      {"posi", "senha", std::string("1\0x", 3)},
      {"posi", "senha\nportabanco", "9999"},
      {"posi", "portabanco=9999", "1"},
      {"posi", "[outra]", "1"},
      {"posi", " ", "1"},
      {"posi\r\n[outra", "senha", "1"},
      {"", "senha", "1"},
  };
  test::TempFolder dir;
  const std::string before = "[posi]\r\nportabanco=3306\r\n";
  const std::string path = dir.Write("erp.ini", before);
  for (const Case& c : cases) {
    EXPECT_THROW(IniFile(path).WriteString(c.section, c.key, c.value), Exception)
        << testing::PrintToString(c.section + "|" + c.key + "|" + c.value);
  }
  EXPECT_EQ(dir.Read("erp.ini"), before);
}

// What cannot be read gives the defaults, as a missing file does, and is
// never replaced by a file holding only the key written.
TEST(IniFile, UnreadableFilesReadAsMissingAndStayAsTheyAre) {
  test::TempFolder dir;
  const auto readsAsMissingAndIsKept = [](const std::string& path) {
    const std::string before = platform::FileExists(path) ? platform::ReadFileBytes(path) : "";
    IniFile ini(path);
    EXPECT_EQ(ini.ReadString("posi", "servidor", "localhost"), "localhost") << path;
    EXPECT_THROW(ini.WriteString("posi", "Versao", "1"), Exception) << path;
    if (platform::FileExists(path)) {
      EXPECT_EQ(platform::ReadFileBytes(path), before) << path;
    }
  };
  readsAsMissingAndIsKept(dir.Write("odd.ini", std::string("\xFF\xFE[\0p\0o", 7)));
  platform::CreateDirectories(dir / "folder.ini");
  readsAsMissingAndIsKept(dir / "folder.ini");
}

#if !defined(_WIN32)
// Configuration files shared through symbolic links: the write reaches the
// file the link names, also one not there yet, and leaves the links as they
// are, with nothing beside them.
TEST(IniFile, WritesThroughLinksAndKeepsThem) {
  namespace fs = std::filesystem;
  test::TempFolder dir;
  dir.Write("shared/kelvaERP.ini", "[posi]\nservidor=db\n");
  fs::create_directories(dir / "app");
  fs::create_symlink("../shared/kelvaERP.ini", dir / "shared/current.ini");
  fs::create_symlink(dir / "shared/current.ini", dir / "app/kelvaERP.ini");
  fs::create_symlink(dir / "shared/erp.ini", dir / "app/erp.ini");
  IniFile(dir / "app/kelvaERP.ini").WriteString("posi", "Versao", "25285014");
  IniFile(dir / "app/erp.ini").WriteString("posi", "Versao", "1");
  for (const char* link : {"app/kelvaERP.ini", "shared/current.ini", "app/erp.ini"})
    EXPECT_TRUE(fs::is_symlink(dir / link)) << link;
  EXPECT_EQ(dir.Read("shared/kelvaERP.ini"), "[posi]\nservidor=db\nVersao=25285014\n");
  EXPECT_EQ(dir.Read("shared/erp.ini"), "[posi]\r\nVersao=1\r\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "app"), fs::directory_iterator()), 2);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir / "shared"), fs::directory_iterator()), 3);
}
#else
// An antivirus or another workstation reading the file refuses its
// replacement for a moment: the write waits for it, and only a hold that
// outlasts its patience fails it, leaving the file and the folder as they were.
TEST(IniFile, AFileHeldByAnotherProgramIsReplacedOnceLetGo) {
  test::TempFolder dir;
  const std::string path = dir.Write("kelvaERP.ini", "[posi]\r\nservidor=db\r\n");
  {
    const test::HeldFile holder(path);
    EXPECT_THROW(IniFile(path).WriteString("posi", "Versao", "1"), Exception);
  }
  EXPECT_EQ(dir.Read("kelvaERP.ini"), "[posi]\r\nservidor=db\r\n");
  EXPECT_EQ(platform::ListDirectory(dir.Path()).size(), 1u);

  test::HeldFile holder(path);
  holder.ReleaseAfter(std::chrono::milliseconds(400));
  IniFile(path).WriteString("posi", "Versao", "25285014");
  EXPECT_EQ(dir.Read("kelvaERP.ini"), "[posi]\r\nservidor=db\r\nVersao=25285014\r\n");
}
#endif

}  // namespace
}  // namespace rotalis
