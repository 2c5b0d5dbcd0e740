#include "net/RequestUrl.h"

namespace rotalis::net {

std::string UrlEncode(const std::string& text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool unreserved = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
                            (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' ||
                            byte == '_' || byte == '~';
    if (unreserved) {
      out += c;
    } else {
      out += '%';
      out += kHex[byte >> 4];
      out += kHex[byte & 0x0F];
    }
  }
  return out;
}

UrlPlaceholders MakeURL(const std::string& text) {
  UrlPlaceholders result{text, {}};
  std::string::size_type start = 0;
  while (start <= text.size()) {
    auto end = text.find_first_of("/?=&", start);
    if (end == std::string::npos) end = text.size();
    const std::string piece = text.substr(start, end - start);
    if (!piece.empty() && piece.front() == ':') {
      const std::string name = piece.substr(piece.find_first_not_of(':') == std::string::npos
                                                ? piece.size()
                                                : piece.find_first_not_of(':'));
      const auto at = result.text.find(piece);
      if (at != std::string::npos) result.text.replace(at, piece.size(), "{" + name + "}");
      result.names.push_back(name);
    }
    start = end + 1;
  }
  return result;
}

std::string JoinURL(const std::string& base, const std::string& resource) {
  if (resource.empty()) return base;
  const bool joined = (!base.empty() && base.back() == '/') || resource.front() == '/' ||
                      resource.front() == '?' || resource.front() == '#';
  return joined ? base + resource : base + "/" + resource;
}

std::string AppendQuery(std::string url, const std::vector<std::string>& pairs) {
  for (const auto& pair : pairs) {
    url += url.find('?') == std::string::npos ? '?' : '&';
    url += pair;
  }
  return url;
}

}  // namespace rotalis::net
