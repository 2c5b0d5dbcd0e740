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

bool Latin1Charset(const std::string& charset) {
  return charset == "iso-8859-1" || charset == "latin1" || charset == "iso8859-1";
}

bool Windows1252Charset(const std::string& charset) {
  return charset == "windows-1252" || charset == "cp1252";
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
  std::string_view rest(contentType);
  while (true) {
    const auto semicolon = rest.find(';');
    if (semicolon == std::string_view::npos) return {};
    rest.remove_prefix(semicolon + 1);
    const auto parameter = Trim(rest.substr(0, rest.find(';')));
    const auto equals = parameter.find('=');
    if (equals == std::string_view::npos ||
        platform::AsciiLowered(Trim(parameter.substr(0, equals))) != "charset") {
      continue;
    }
    auto value = Trim(parameter.substr(equals + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
      value = value.substr(1, value.size() - 2);
    }
    return platform::AsciiLowered(value);
  }
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
