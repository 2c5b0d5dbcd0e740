#include "crash/CrashSignature.h"

#include <sodium.h>

#include <cstdio>

namespace rotalis::crash {
namespace {

std::string LowerAscii(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

std::string CrashSignatureOf(const std::string& errorClass,
                             const std::vector<platform::StackFrame>& stack) {
  // Only frames with source lines count: those are the program's own modules,
  // which every workstation has in the same version. The system's libraries
  // differ between workstations (and are named by their nearest export),
  // so a stack through them would group nothing. A stack without any such
  // frame counts every named frame; one without names has no signature: the
  // class alone would lump unrelated errors together.
  bool anyOwn = false;
  bool anyNamed = false;
  for (const platform::StackFrame& frame : stack) {
    anyOwn = anyOwn || !frame.sourceFile.empty();
    anyNamed = anyNamed || !frame.function.empty();
  }
  if (!anyNamed) return {};
  std::string text = errorClass + '\n';
  for (const platform::StackFrame& frame : stack) {
    if (anyOwn ? frame.sourceFile.empty() : frame.function.empty()) continue;
    // Windows names modules in any case.
    text += LowerAscii(frame.module) + '!' + frame.function + '\n';
  }
  unsigned char digest[8];
  if (sodium_init() < 0) return {};
  crypto_generichash(digest, sizeof digest, reinterpret_cast<const unsigned char*>(text.data()),
                     text.size(), nullptr, 0);
  std::string signature = "crash-";
  for (const unsigned char byte : digest) {
    char hex[3];
    std::snprintf(hex, sizeof hex, "%02x", byte);
    signature += hex;
  }
  return signature;
}

}  // namespace rotalis::crash
