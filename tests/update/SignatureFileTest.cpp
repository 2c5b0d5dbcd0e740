// minisign's key and signature files: what is accepted, what is refused and
// with which words, and the check of a file against a fixed signature that
// minisign 0.11 made (key pair made with -G -W, files signed with -S and -S -l).

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/Exception.h"
#include "tests/support/TempFolder.h"
#include "update/InstallerVerification.h"
#include "update/SignatureFile.h"

namespace rotalis::test {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

const std::string kKey = "RWQBNidgXHERC8kk2tNghb/QbIa4TDwDCizPEbJOO4UVrgB7qV3PebEX";
const std::string kSigned = "hello\n";

const std::string kHashedLine2 =
    "RUQBNidgXHERC8O9vN9nXcx3NyhQUXCLBNhGsMja7puE7o5PT5VjOTAZ7g6aD39J49AdGnyAHhB09xOcmm1aGfWbIB+"
    "LTw+4nQ4=";
const std::string kHashedComment = "timestamp:1795531170\tfile:f.exe\thashed";
const std::string kHashedLine4 =
    "EYVDrIPX0hvXvq0JemXf4mN1ClvW7Edyy/Ngz7A0rD770+5dE4NrSK/SG3QdZXyuS54wpRa3nvS8VblQcoTpBQ==";

std::string HashedSignature(const std::string& eol = "\n") {
  return "untrusted comment: signature from minisign secret key" + eol + kHashedLine2 + eol +
         "trusted comment: " + kHashedComment + eol + kHashedLine4 + eol;
}

const std::string kLegacySignature =
    "untrusted comment: signature from minisign secret key\n"
    "RWQBNidgXHERC1XJQp2mh5WOwmewBswAvo2ZDnZIyzmKL/"
    "i4ESvwpqKQzGoFOwmuXK+CTjXgLe+O9aHP+NKWS56h2qPHmG3"
    "AEww=\n"
    "trusted comment: my comment\n"
    "FXjLve6sW71b2UfoxPPVxdzO7BXhr0mCqIhpJ3U1Vy277k0YjMa2car4jloli6/ucWnDOgm2Dl4Sq4X13/pdCg==\n";

TEST(SignatureFileTest, ReadsAndVerifiesBothKindsWithEitherLineEnd) {
  const UpdatePublicKey key = ParseUpdatePublicKey("  " + kKey + "\r\n");
  EXPECT_EQ(KeyIdText(key.keyId), "0B11715C60273601");  // as minisign -G printed it

  for (const std::string& text :
       {HashedSignature(), HashedSignature("\r\n"), HashedSignature() + "\n\n"}) {
    const InstallerSignature signature = ParseInstallerSignature(text);
    EXPECT_TRUE(signature.hashed);
    EXPECT_EQ(signature.keyId, key.keyId);
    EXPECT_EQ(signature.trustedComment, kHashedComment);
  }
  const InstallerSignature legacy = ParseInstallerSignature(kLegacySignature);
  EXPECT_FALSE(legacy.hashed);
  EXPECT_EQ(legacy.trustedComment, "my comment");

  TempFolder folder;
  const std::string file = folder.Write("f.exe", kSigned);
  VerifyInstallerFile(file, HashedSignature(), kKey);
  VerifyInstallerFile(file, kLegacySignature, kKey);
  EXPECT_THROW(VerifyInstallerFile(folder / "missing.exe", HashedSignature(), kKey), Exception);
}

TEST(SignatureFileTest, RefusesMalformedFilesSayingWhichLine) {
  const std::string u = "untrusted comment: x\n";
  const std::string t = "trusted comment: c\n";
  const std::string line2 = kHashedLine2 + "\n";
  const std::string line4 = kHashedLine4 + "\n";
  // "Eq" in place of the algorithm: the same length, an unknown kind.
  std::string unknown = kHashedLine2;
  unknown.replace(0, 4, "RXEB");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "4 linhas, há 0"},
      {u + line2 + t, "4 linhas, há 3"},
      {u + line2 + t + line4 + "extra\n", "4 linhas, há 5"},
      {"comment: x\n" + line2 + t + line4, "linha 1"},
      {u + "not base64!\n" + t + line4, "linha 2"},
      {u + kHashedLine2.substr(0, 40) + "\n" + t + line4, "linha 2"},
      {u + kHashedLine2 + "AAAA\n" + t + line4, "linha 2"},
      {u + unknown + "\n" + t + line4, "algoritmo"},
      {u + line2 + "comment: c\n" + line4, "linha 3"},
      {u + line2 + t + kHashedLine4.substr(4) + "\n", "linha 4"},
      {u + line2 + t + line4 + std::string(1, '\0'), "nulo"},
      {u + line2 + "trusted comment: " + std::string(70000, 'a') + "\n" + line4, "grande"},
  };
  for (const auto& [text, why] : cases) {
    EXPECT_THAT([&text = text] { ParseInstallerSignature(text); },
                ThrowsMessage<Exception>(
                    AllOf(StartsWith("arquivo de assinatura inválido: "), HasSubstr(why))))
        << text;
  }
  for (const std::string& bad :
       std::vector<std::string>{"", "RWQB", kKey + "AAAA", "RUQ" + kKey.substr(3), "%%%%"})
    EXPECT_THROW(ParseUpdatePublicKey(bad), Exception) << bad;
}

}  // namespace
}  // namespace rotalis::test
