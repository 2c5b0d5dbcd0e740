#include "config/IniFile.h"

#include <gtest/gtest.h>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "tests/support/TempFolder.h"
#if defined(_WIN32)
#include "tests/support/HeldFile.h"
#endif

namespace rotalis {
namespace {

// A configuration file as the ERP writes it: comments, several sections,
// CRLF line breaks, blanks and quotes around values.
constexpr const char* kErpIni =
    "; configuração do ERP\r\n"
    "[geral]\r\n"
    "servidor=10.0.0.9\r\n"
    "\r\n"
    "[POSI]\r\n"
    "  NomeBanco =  erp_loja  \r\n"
    "servidor=\r\n"
    "usuario=\"admin\"\r\n"
    "senha='s3nha'\r\n"
    "aspas=\"um'\r\n"
    ";portabanco=3307\r\n"
    "servidor=ignored-second-key\r\n"
    "\r\n"
    "[posi]\r\n"
    "portabanco=9999\r\n";

TEST(IniFile, ReadsByTheWindowsProfileRules) {
  test::TempFolder dir;
  const IniFile ini(dir.Write("erp.ini", kErpIni));
  EXPECT_EQ(ini.ReadString("posi", "nomebanco", "d"), "erp_loja");  // case, blanks
  EXPECT_EQ(ini.ReadString("posi", "servidor", "d"), "");           // present but empty
  EXPECT_EQ(ini.ReadString("posi", "usuario", "d"), "admin");       // one quote pair
  EXPECT_EQ(ini.ReadString("posi", "senha", "d"), "s3nha");
  EXPECT_EQ(ini.ReadString("posi", "aspas", "d"), "\"um'");  // unmatched quotes stay
  EXPECT_EQ(ini.ReadString("posi", "portabanco", "3306"),
            "3306");  // comment; later section ignored
  EXPECT_EQ(ini.ReadString("posi", "falta", "padrao"), "padrao");
  EXPECT_EQ(ini.ReadString("nada", "servidor", "padrao"), "padrao");
  EXPECT_EQ(ini.ReadString("geral", "servidor", "d"), "10.0.0.9");

  const IniFile missing(dir / "does-not-exist.ini");
  EXPECT_EQ(missing.ReadString("posi", "usuario", "root"), "root");
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
  expected.insert(expected.find("\r\n\r\n[posi]") + 2, "Versao=25285014\r\n");
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

  // UTF-16LE with BOM: "[posi]\r\nnomebanco=Sé\r\n".
  std::string utf16 = "\xFF\xFE";
  for (char c : std::string("[posi]\r\nnomebanco=S\xE9\r\n")) {
    utf16 += c;
    utf16 += '\0';
  }
  const std::string wide = dir.Write("wide.ini", utf16);
  EXPECT_EQ(IniFile(wide).ReadString("POSI", "NOMEBANCO", ""), "S\xC3\xA9");
  IniFile(wide).WriteString("posi", "Versao", "7");
  std::string expected = utf16;
  for (char c : std::string("Versao=7\r\n")) {
    expected += c;
    expected += '\0';
  }
  EXPECT_EQ(dir.Read("wide.ini"), expected);
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
  readsAsMissingAndIsKept(
      dir.Write("surrogate.ini", std::string("\xFF\xFE[\0\x00\xD8]\0\r\0\n\0", 12)));
  platform::CreateDirectories(dir / "folder.ini");
  readsAsMissingAndIsKept(dir / "folder.ini");
}

#if defined(_WIN32)
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
