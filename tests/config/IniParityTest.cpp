// The INI reader against Windows' own profile functions, on the same files:
// every question must get the same answer, byte for byte.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "config/IniFile.h"
#include "platform/TextEncoding.h"
#include "tests/config/WindowsProfile.h"
#include "tests/support/TempFolder.h"

namespace rotalis {
namespace {

struct Question {
  const char* section;
  const char* key;
};

// Missing versus empty, quotes of both kinds (matched, unmatched, inner),
// blanks and tabs around names and values, case, comments, lines without
// "=", repeated keys and a repeated section.
constexpr const char* kIni =
    "; comentário\r\n"
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
    "[ Outra Secao ]\r\n"
    "chave = v1\r\n"
    "[posi]\r\n"
    "portabanco=9999\r\n"
    "nomebanco=repetida\r\n"
    "[vazia]\r\n";

const std::vector<Question> kQuestions = {
    {"posi", "nomebanco"},    {"POSI", "NOMEBANCO"},      {"posi", "servidor"},
    {"posi", "usuario"},      {"posi", "senha"},          {"posi", "aspas"},
    {"posi", "dentro"},       {"posi", "sozinha"},        {"posi", "vazias"},
    {"posi", "tab"},          {"posi", "portabanco"},     {"posi", ";portabanco"},
    {"posi", "semigual"},     {"posi", "igual"},          {"posi", "falta"},
    {"outra secao", "chave"}, {" Outra Secao ", "chave"}, {"vazia", "x"},
    {"nenhuma", "x"},
};

void ExpectSameAnswers(const std::string& path) {
  const IniFile ini(path);
  for (const Question& q : kQuestions) {
    SCOPED_TRACE(std::string("[") + q.section + "] " + q.key);
    EXPECT_EQ(ini.ReadString(q.section, q.key, "padrão"),
              test::WindowsProfileString(path, q.section, q.key, "padrão"));
  }
}

TEST(IniParity, AnsiFileAnswersAsWindows) {
  test::TempFolder dir;
  ExpectSameAnswers(dir.Write("ansi.ini", *Utf8ToWindows1252(kIni)));
}

TEST(IniParity, Utf16FileAnswersAsWindows) {
  test::TempFolder dir;
  ExpectSameAnswers(dir.Write("utf16.ini", "\xFF\xFE" + *Utf8ToUtf16Le(kIni)));
}

TEST(IniParity, UnixLineBreaksAnswerAsWindows) {
  std::string text = kIni;
  for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
    text.erase(at, 1);
  test::TempFolder dir;
  ExpectSameAnswers(dir.Write("lf.ini", *Utf8ToWindows1252(text)));
}

TEST(IniParity, MissingFileAnswersAsWindows) {
  test::TempFolder dir;
  ExpectSameAnswers(dir / "ausente.ini");
}

TEST(IniParity, AccentedUtf16ValueAnswersAsWindows) {
  test::TempFolder dir;
  const std::string path =
      dir.Write("acentos.ini", "\xFF\xFE" + *Utf8ToUtf16Le("[posi]\r\nnomebanco=ação €\r\n"));
  EXPECT_EQ(IniFile(path).ReadString("posi", "nomebanco", "d"),
            test::WindowsProfileString(path, "posi", "nomebanco", "d"));
}

}  // namespace
}  // namespace rotalis
