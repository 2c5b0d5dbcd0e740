#include "update/SignatureFile.h"

#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/Exception.h"

namespace rotalis {
namespace {

constexpr std::string_view kUntrustedPrefix = "untrusted comment: ";
constexpr std::string_view kTrustedPrefix = "trusted comment: ";

// Exactly `size` bytes from standard base64 (padding as minisign writes it);
// anything else, trailing characters included, is refused.
bool DecodeExactly(std::string_view text, std::uint8_t* out, std::size_t size) {
  if (text.empty()) return false;
  std::size_t decoded = 0;
  const char* end = nullptr;
  if (sodium_base642bin(out, size, text.data(), text.size(), nullptr, &decoded, &end,
                        sodium_base64_VARIANT_ORIGINAL) != 0)
    return false;
  return decoded == size && end == text.data() + text.size();
}

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  // Editors and transfers add empty lines at the end; they carry nothing.
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

[[noreturn]] void Refuse(const std::string& why) {
  throw Exception("arquivo de assinatura inválido: " + why);
}

}  // namespace

UpdatePublicKey ParseUpdatePublicKey(std::string_view base64) {
  std::uint8_t raw[2 + 8 + 32];
  if (!DecodeExactly(Trimmed(base64), raw, sizeof raw))
    throw Exception(
        "chave pública de atualização inválida: não é a linha base64 de um arquivo minisign.pub");
  if (raw[0] != 'E' || raw[1] != 'd')
    throw Exception("chave pública de atualização inválida: o algoritmo não é Ed25519");
  UpdatePublicKey key;
  std::memcpy(key.keyId.data(), raw + 2, key.keyId.size());
  std::memcpy(key.key.data(), raw + 10, key.key.size());
  return key;
}

InstallerSignature ParseInstallerSignature(std::string_view text) {
  if (text.size() > kMaxSignatureFileBytes) Refuse("grande demais");
  if (text.find('\0') != std::string_view::npos) Refuse("contém um caractere nulo");
  const auto lines = Lines(text);
  if (lines.size() != 4) Refuse("são esperadas 4 linhas, há " + std::to_string(lines.size()));
  if (lines[0].substr(0, kUntrustedPrefix.size()) != kUntrustedPrefix)
    Refuse("a linha 1 não começa com \"untrusted comment: \"");

  InstallerSignature signature;
  std::uint8_t raw[2 + 8 + 64];
  if (!DecodeExactly(lines[1], raw, sizeof raw))
    Refuse("a linha 2 não é a base64 de uma assinatura (74 bytes)");
  if (raw[0] == 'E' && raw[1] == 'D')
    signature.hashed = true;
  else if (raw[0] == 'E' && raw[1] == 'd')
    signature.hashed = false;
  else
    Refuse("algoritmo de assinatura desconhecido");
  std::memcpy(signature.keyId.data(), raw + 2, signature.keyId.size());
  std::memcpy(signature.signature.data(), raw + 10, signature.signature.size());

  if (lines[2].substr(0, kTrustedPrefix.size()) != kTrustedPrefix)
    Refuse("a linha 3 não começa com \"trusted comment: \"");
  signature.trustedComment = std::string(lines[2].substr(kTrustedPrefix.size()));
  if (!DecodeExactly(lines[3], signature.globalSignature.data(), signature.globalSignature.size()))
    Refuse("a linha 4 não é a base64 de uma assinatura global (64 bytes)");
  return signature;
}

std::string KeyIdText(const SigningKeyId& keyId) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  // minisign reads the id as a little-endian number.
  for (auto byte = keyId.rbegin(); byte != keyId.rend(); ++byte) {
    text += kDigits[*byte >> 4];
    text += kDigits[*byte & 0x0F];
  }
  return text;
}

}  // namespace rotalis
