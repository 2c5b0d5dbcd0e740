#pragma once
// Whether an installer on disk is the one the publisher signed with the key
// the deployment carries (the verified mode of the update step).

#include <string>

namespace rotalis {

// The signature file beside a verified installer in the cache.
std::string SignaturePathFor(const std::string& installerPath);

// Raises rotalis::Exception with the reason (in the user's language) unless
// `signatureText` is a minisign signature of the file made with the key whose
// base64 line is `publicKey`: same key id, valid signature of the file (of its
// BLAKE2b-512 hash for "ED"), valid global signature over the signature and
// its trusted comment. The file is read in pieces, whatever its size, except
// for the older "Ed" signatures, which cover the file itself.
void VerifyInstallerFile(const std::string& installerPath, const std::string& signatureText,
                         const std::string& publicKey);

}  // namespace rotalis
