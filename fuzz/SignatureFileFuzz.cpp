// ParseInstallerSignature on arbitrary bytes (what a hostile update server can
// send as a ".minisig"): it either returns a signature whose comment came from
// the third line, or raises its own refusal; nothing else may happen.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/Exception.h"
#include "update/SignatureFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    const rotalis::InstallerSignature signature = rotalis::ParseInstallerSignature(text);
    if (text.find("trusted comment: " + signature.trustedComment) == std::string_view::npos)
      std::abort();
  } catch (const rotalis::Exception& error) {
    if (std::string_view(error.what()).rfind("arquivo de assinatura inválido: ", 0) != 0)
      std::abort();
  }
  try {
    (void)rotalis::ParseUpdatePublicKey(text);
  } catch (const rotalis::Exception& error) {
    if (std::string_view(error.what()).rfind("chave pública de atualização inválida: ", 0) != 0)
      std::abort();
  }
  return 0;
}
