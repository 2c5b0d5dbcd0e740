#include "net/BodyDecoding.h"

#include <algorithm>
#include <string_view>

#include "platform/AsciiCase.h"
#include "platform/TextEncoding.h"

namespace rotalis::net {
namespace {

std::string_view Trim(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string Latin1ToUtf8(const std::string& bytes) {
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      out += c;
    } else {
      out += static_cast<char>(0xC0 | (byte >> 6));
      out += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return out;
}

// The names and aliases registered for each single-byte charset, lower-cased.
bool Latin1Charset(std::string_view charset) {
  static constexpr std::string_view kNames[] = {
      "iso-8859-1", "iso_8859-1", "iso_8859-1:1987", "iso-ir-100", "latin1",   "l1",
      "ibm819",     "cp819",      "csisolatin1",     "iso8859-1",  "iso88591", "iso8859_1"};
  return std::ranges::find(kNames, charset) != std::end(kNames);
}

bool Windows1252Charset(std::string_view charset) {
  static constexpr std::string_view kNames[] = {"windows-1252", "cp1252", "x-cp1252", "ms-ansi",
                                                "cswindows1252"};
  return std::ranges::find(kNames, charset) != std::end(kNames);
}

std::string Decode(const std::string& bytes, const std::string& charset) {
  if (Latin1Charset(charset)) return Latin1ToUtf8(bytes);
  if (Windows1252Charset(charset)) return Windows1252ToUtf8(bytes);
  // Each malformed sequence becomes U+FFFD.
  return ReplaceInvalidUtf8(bytes);
}

bool KnownText(const std::string& mime) {
  return mime.starts_with("text/") || mime == "application/json" || mime == "application/xml" ||
         mime == "application/javascript" || mime == "application/x-www-form-urlencoded" ||
         mime == "application/soap+xml" || mime.ends_with("+json") || mime.ends_with("+xml");
}

bool KnownBinary(const std::string& mime) {
  static constexpr std::string_view kBinary[] = {"application/octet-stream",
                                                 "application/zip",
                                                 "application/gzip",
                                                 "application/x-gzip",
                                                 "application/pdf",
                                                 "application/x-msdownload",
                                                 "application/x-7z-compressed",
                                                 "application/x-rar-compressed",
                                                 "application/x-tar",
                                                 "application/vnd.microsoft.portable-executable"};
  return mime.starts_with("image/") || mime.starts_with("audio/") || mime.starts_with("video/") ||
         mime.starts_with("font/") || std::ranges::find(kBinary, mime) != std::end(kBinary);
}

}  // namespace

std::string MimeTypeOf(const std::string& contentType) {
  return platform::AsciiLowered(
      Trim(std::string_view(contentType).substr(0, contentType.find(';'))));
}

std::string CharsetOf(const std::string& contentType) {
  // Parameters are name=value pairs after the MIME type, split at ";" outside
  // quoted strings, where a backslash escapes the character after it.
  std::string_view rest(contentType);
  rest.remove_prefix(std::min(rest.size(), rest.find(';')));
  while (!rest.empty()) {
    rest.remove_prefix(1);  // the ";"
    const auto nameEnd = rest.find_first_of("=;");
    const std::string name = platform::AsciiLowered(Trim(rest.substr(0, nameEnd)));
    if (nameEnd == std::string_view::npos) break;
    rest.remove_prefix(nameEnd);
    if (rest.front() == ';') continue;
    rest.remove_prefix(1);  // the "="
    rest.remove_prefix(std::min(rest.size(), rest.find_first_not_of(" \t")));
    std::string value;
    if (!rest.empty() && rest.front() == '"') {
      std::size_t i = 1;
      for (; i < rest.size() && rest[i] != '"'; ++i) {
        if (rest[i] == '\\' && i + 1 < rest.size()) ++i;
        value += rest[i];
      }
      rest.remove_prefix(std::min(rest.size(), rest.find(';', i)));
    } else {
      const auto end = rest.find(';');
      value = Trim(rest.substr(0, end));
      rest.remove_prefix(std::min(rest.size(), end));
    }
    if (name == "charset") return platform::AsciiLowered(Trim(value));
  }
  return {};
}

namespace {

// The charset the body is read in; nothing when it is not to be decoded.
std::optional<std::string> ChosenCharset(const std::string& contentType,
                                         const std::string& fallbackCharset) {
  std::string charset = CharsetOf(contentType);
  if (!charset.empty()) return charset;
  const std::string mime = MimeTypeOf(contentType);
  const std::string fallback = platform::AsciiLowered(fallbackCharset);
  if (!fallback.empty() && fallback != "raw") {
    if (KnownBinary(mime)) return std::nullopt;
    return fallback;
  }
  if (KnownText(mime)) return std::string("utf-8");
  return std::nullopt;
}

}  // namespace

std::optional<std::string> DecodeBody(const std::string& bytes, const std::string& contentType,
                                      const std::string& fallbackCharset) {
  const auto charset = ChosenCharset(contentType, fallbackCharset);
  if (!charset) return std::nullopt;
  return Decode(bytes, *charset);
}

bool DecodesToItself(const std::string& bytes, const std::string& contentType,
                     const std::string& fallbackCharset) {
  const auto charset = ChosenCharset(contentType, fallbackCharset);
  if (!charset) return false;
  // Both single-byte charsets map ASCII to itself and every other byte to two.
  if (Latin1Charset(*charset) || Windows1252Charset(*charset)) return IsAscii(bytes);
  return IsValidUtf8(bytes);
}

}  // namespace rotalis::net
