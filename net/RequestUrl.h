#pragma once
// Address building for the request builder, apart from any transport so that it
// can be checked without a network.

#include <string>
#include <vector>

namespace rotalis::net {

// Percent-encodes every byte but the unreserved ones (A-Z a-z 0-9 - . _ ~).
std::string UrlEncode(const std::string& text);

struct UrlPlaceholders {
  std::string text;                // the text with ":name" pieces turned into "{name}"
  std::vector<std::string> names;  // the names found, in order
};

// Splits at "/", "?", "=" and "&"; each piece that starts with ":" becomes
// "{name}" (leading colons dropped) at its first occurrence. Pieces with a colon
// elsewhere (scheme, host and port) stay as they are.
UrlPlaceholders MakeURL(const std::string& text);

// Base joined with resource ("/" put between unless the base ends with "/" or
// the resource starts with "/", "?" or "#"); no query.
std::string JoinURL(const std::string& base, const std::string& resource);

// Appends "name=value" pairs (already encoded) after "?", or "&" when the
// address holds a "?" already.
std::string AppendQuery(std::string url, const std::vector<std::string>& pairs);

}  // namespace rotalis::net
