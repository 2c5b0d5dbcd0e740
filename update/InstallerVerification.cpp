#include "update/InstallerVerification.h"

#include <sodium.h>

#include <array>
#include <vector>

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "update/SignatureFile.h"

namespace rotalis {
namespace {

// Signatures of the older kind cover the whole file, which must then be in
// memory at once; an installer beyond this size is signed the current way.
constexpr std::uint64_t kMaxWholeFileBytes = 512ull * 1024 * 1024;

std::array<unsigned char, crypto_generichash_BYTES_MAX> Blake2b512(const std::string& path) {
  crypto_generichash_state state;
  if (crypto_generichash_init(&state, nullptr, 0, crypto_generichash_BYTES_MAX) != 0)
    throw Exception("Falha ao preparar o cálculo do hash");
  platform::ReadFilePieces(path, [&state](const char* data, std::size_t size) {
    crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(data), size);
  });
  std::array<unsigned char, crypto_generichash_BYTES_MAX> hash{};
  crypto_generichash_final(&state, hash.data(), hash.size());
  return hash;
}

bool FileSignatureValid(const std::string& path, const InstallerSignature& signature,
                        const UpdatePublicKey& key) {
  if (signature.hashed) {
    const auto hash = Blake2b512(path);
    return crypto_sign_verify_detached(signature.signature.data(), hash.data(), hash.size(),
                                       key.key.data()) == 0;
  }
  if (platform::FileSize(path) > kMaxWholeFileBytes)
    throw Exception("assinatura no formato antigo (Ed) para um arquivo de mais de 512 MiB");
  const std::string bytes = platform::ReadFileBytes(path);
  return crypto_sign_verify_detached(signature.signature.data(),
                                     reinterpret_cast<const unsigned char*>(bytes.data()),
                                     bytes.size(), key.key.data()) == 0;
}

bool GlobalSignatureValid(const InstallerSignature& signature, const UpdatePublicKey& key) {
  std::vector<unsigned char> message(signature.signature.begin(), signature.signature.end());
  message.insert(message.end(), signature.trustedComment.begin(), signature.trustedComment.end());
  return crypto_sign_verify_detached(signature.globalSignature.data(), message.data(),
                                     message.size(), key.key.data()) == 0;
}

}  // namespace

std::string SignaturePathFor(const std::string& installerPath) {
  return installerPath + ".minisig";
}

void VerifyInstallerFile(const std::string& installerPath, const std::string& signatureText,
                         const std::string& publicKey) {
  if (sodium_init() < 0) throw Exception("Falha ao iniciar a biblioteca de criptografia");
  const UpdatePublicKey key = ParseUpdatePublicKey(publicKey);
  const InstallerSignature signature = ParseInstallerSignature(signatureText);
  if (signature.keyId != key.keyId)
    throw Exception("assinado com outra chave (" + KeyIdText(signature.keyId) +
                    "), não com a chave desta instalação (" + KeyIdText(key.keyId) + ")");
  if (!FileSignatureValid(installerPath, signature, key))
    throw Exception("o conteúdo do arquivo não confere com a assinatura");
  if (!GlobalSignatureValid(signature, key))
    throw Exception("o comentário confiável da assinatura foi alterado");
}

}  // namespace rotalis
