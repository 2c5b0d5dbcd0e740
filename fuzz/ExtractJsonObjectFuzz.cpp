// ExtractJsonObject on arbitrary text: it either returns an object or raises
// one of its three messages; nothing else may happen.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "net/JsonText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const rotalis::net::Json value = rotalis::net::ExtractJsonObject(text);
    if (!value.is_object()) std::abort();
    const rotalis::net::Json* rows = nullptr;
    rotalis::net::TryGetValue(value, "rows", rows);
    // Writing the value back must work for whatever was parsed.
    (void)value.dump();
  } catch (const rotalis::Exception& error) {
    const std::string message = error.what();
    if (message != "Não foi encontrado um objeto JSON na string." &&
        message != "Objeto JSON incompleto ou inválido." &&
        message != "Falha ao parsear o objeto JSON.") {
      std::abort();
    }
  }
  return 0;
}
