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

// The file in each form a workstation may hold it: ANSI, UTF-8 or UTF-16 with
// a BOM, with Unix line breaks, and not there at all. Where the tests run on
// Windows, its own profile functions must give the same answers (a comment
// line, too, answers when asked for by its whole line). Odd bytes and line
// ends are asked of Windows on a generated corpus (IniParityTest.cpp).
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
      {"utf8.ini", "\xEF\xBB\xBF" + std::string(kErpIni)},
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

// A write changes its own line only, in the file's own line breaks and
// encoding (that it reads back as written, keeps the encoding and the other
// keys, refuses what the encoding cannot hold, and that the same write again
// changes no byte, fuzz/IniFileFuzz.cpp checks on every kind of file). A file
// without a BOM is ANSI whatever its bytes look like: "Ã”" in Windows-1252 is
// C3 94, which also happens to be UTF-8 for "Ô".
TEST(IniFile, WritesOnlyTheirOwnLine) {
  const auto erpWith = [](const char* at, std::size_t skip, const char* piece) {
    std::string text = kErpIni;
    return text.insert(text.find(at) + skip, piece);
  };
  const std::string ansi = "[posi]\r\nnomebanco=Opera\xE7\xE3o\r\n";
  const std::string utf8 = "\xEF\xBB\xBF[posi]\nsenha=ma\xC3\xA7\xC3\xA3\n";
  const std::string notText =
      "\xEF\xBB\xBF[posi]\r\nnomebanco=Opera\xE7\xE3o\r\nsenha=\xE2\x82\r\n";
  const std::string utf16 = "\xFF\xFE" + *Utf8ToUtf16Le("[posi]\r\nnomebanco=S\xC3\xA9\r\n");
  struct Row {
    std::optional<std::string> before;  // none: no file yet
    const char* key;
    const char* value;
    std::string after;
  };
  const Row rows[] = {
      {kErpIni, "SERVIDOR", "db.local", erpWith("servidor=\r\n", 9, "db.local")},
      // A new key goes to the end of its section, before the blank line.
      {kErpIni, "Versao", "25285014", erpWith("\r\n\r\n[ Outra", 2, "Versao=25285014\r\n")},
      {"[geral]\nx=1", "Versao", "10234", "[geral]\nx=1\n[posi]\nVersao=10234\n"},
      {std::nullopt, "Versao", "10234", "[posi]\r\nVersao=10234\r\n"},
      {"[posi]\r\nVersao=1\r", "usuario", "u", "[posi]\r\nVersao=1\rusuario=u\r\n"},
      // Among lone CRs, a new line before an empty LF line keeps that line.
      {"[posi]\rnomebanco=erp\n\n", "Versao", "1", "[posi]\rnomebanco=erp\nVersao=1\r\n\n"},
      {notText, "Versao", "1", notText + "Versao=1\r\n"},
      {ansi, "usuario", "Jo\xC3\xA3o", ansi + "usuario=Jo\xE3o\r\n"},
      {"[posi]\r\n", "usuario", "\xC3\x83\xE2\x80\x9D", "[posi]\r\nusuario=\xC3\x94\r\n"},
      {utf8, "Versao", "1", utf8 + "Versao=1\n"},
      {utf16, "Versao", "7", utf16 + *Utf8ToUtf16Le("Versao=7\r\n")},
  };
  test::TempFolder dir;
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.before.value_or("no file")));
    const std::string path = row.before ? dir.Write("erp.ini", *row.before) : dir / "new.ini";
    IniFile(path).WriteString("posi", row.key, row.value);
    EXPECT_EQ(platform::ReadFileBytes(path), row.after);
  }
}

// A write never adds or changes lines other than its own. Values and names
// the fuzzer makes (line breaks and NULs in values, "=" and "[" in names) it
// checks itself: refused, or read back as written.
TEST(IniFile, RefusesTextThatWouldChangeOtherLines) {
  struct Case {
    std::string section, key, value;
  };
  const std::vector<Case> cases = {
      {"posi", "senha\nportabanco", "9999"},
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
