#pragma once
// Turning a response body into UTF-8 text.

#include <optional>
#include <string>

namespace rotalis::net {

// The charset parameter of a Content-Type value, lower-cased, quotes removed
// (a ";" inside quotes belongs to the value); empty when there is none.
std::string CharsetOf(const std::string& contentType);

// The MIME type of a Content-Type value, lower-cased, without parameters.
std::string MimeTypeOf(const std::string& contentType);

// The body as UTF-8 text, or nothing when it is not to be decoded:
// - a named charset decides (UTF-8, US-ASCII, ISO-8859-1, Windows-1252, by
//   any of their registered names and aliases, in any case; an unknown one is
//   read as UTF-8);
// - else, with a fallback charset that is neither empty nor "raw", the fallback
//   is used unless the MIME type is known to be binary;
// - else only a MIME type known to be text is decoded, as UTF-8.
// Malformed UTF-8 sequences become U+FFFD.
std::optional<std::string> DecodeBody(const std::string& bytes, const std::string& contentType,
                                      const std::string& fallbackCharset);

// True when DecodeBody would give the bytes back unchanged (UTF-8 that is
// already well-formed, or plain ASCII in any charset it knows), so that the
// caller need not hold a copy. Allocates nothing.
bool DecodesToItself(const std::string& bytes, const std::string& contentType,
                     const std::string& fallbackCharset);

}  // namespace rotalis::net
