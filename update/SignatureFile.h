#pragma once
// The publisher's key and signature files as minisign writes them. The key is
// the base64 line of "minisign.pub"; a signature file is four lines:
//
//   untrusted comment: <anything>
//   base64( algorithm[2] key id[8] signature[64] )
//   trusted comment: <text>
//   base64( global signature[64] )
//
// "ED" signs the BLAKE2b-512 hash of the file, the older "Ed" the file itself;
// the global signature covers the signature bytes followed by the trusted
// comment, so the comment cannot be changed either. Parsing only checks the
// form; InstallerSignature.h checks the signatures.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace rotalis {

using SigningKeyId = std::array<std::uint8_t, 8>;

struct UpdatePublicKey {
  SigningKeyId keyId{};
  std::array<std::uint8_t, 32> key{};
};

struct InstallerSignature {
  bool hashed = true;  // "ED": over BLAKE2b-512 of the file; "Ed": over the file
  SigningKeyId keyId{};
  std::array<std::uint8_t, 64> signature{};
  std::string trustedComment;  // without its "trusted comment: " prefix
  std::array<std::uint8_t, 64> globalSignature{};
};

// Signature files larger than this are no minisign signature; the download
// stops reading there.
inline constexpr std::size_t kMaxSignatureFileBytes = 64 * 1024;

// The key from its base64 line (blanks around it are ignored). Raises
// rotalis::Exception saying what is wrong with it.
UpdatePublicKey ParseUpdatePublicKey(std::string_view base64);

// The signature from the text of a ".minisig" file (LF or CRLF line ends,
// empty lines after the fourth ignored). Raises rotalis::Exception saying
// which line is wrong and how.
InstallerSignature ParseInstallerSignature(std::string_view text);

// The key id as minisign prints it (hexadecimal, most significant byte first).
std::string KeyIdText(const SigningKeyId& keyId);

}  // namespace rotalis
