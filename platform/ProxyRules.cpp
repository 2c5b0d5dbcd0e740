#include "platform/ProxyRules.h"

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/AsciiCase.h"

namespace rotalis::platform {
namespace {

std::vector<std::string> Entries(const std::string& list, std::string_view separators) {
  std::vector<std::string> entries;
  std::size_t start = 0;
  while (start < list.size()) {
    const std::size_t end = std::min(list.find_first_of(separators, start), list.size());
    if (end > start) entries.push_back(list.substr(start, end - start));
    start = end + 1;
  }
  return entries;
}

std::string_view Authority(std::string_view url) {
  const auto schemeEnd = url.find("://");
  if (schemeEnd == std::string_view::npos) return {};
  std::string_view rest = url.substr(schemeEnd + 3);
  rest = rest.substr(0, rest.find_first_of("/?#"));
  const auto userEnd = rest.rfind('@');
  return userEnd == std::string_view::npos ? rest : rest.substr(userEnd + 1);
}

bool ParseIpv4(std::string_view text, std::uint32_t& address) {
  address = 0;
  for (int part = 0; part < 4; ++part) {
    if (part > 0) {
      if (text.empty() || text.front() != '.') return false;
      text.remove_prefix(1);
    }
    std::size_t digits = 0;
    unsigned value = 0;
    while (digits < text.size() && digits < 3 && text[digits] >= '0' && text[digits] <= '9') {
      value = value * 10 + unsigned(text[digits] - '0');
      ++digits;
    }
    if (digits == 0 || value > 255) return false;
    text.remove_prefix(digits);
    address = (address << 8) | value;
  }
  return text.empty();
}

bool InIpv4Block(const std::string& host, const std::string& block) {
  const auto slash = block.find('/');
  std::uint32_t address = 0;
  std::uint32_t network = 0;
  if (!ParseIpv4(host, address) || !ParseIpv4(std::string_view(block).substr(0, slash), network))
    return false;
  const std::string bitsText = block.substr(slash + 1);
  if (bitsText.empty() || bitsText.size() > 2 ||
      bitsText.find_first_not_of("0123456789") != std::string::npos)
    return false;
  const int bits = std::stoi(bitsText);
  if (bits > 32) return false;
  const std::uint32_t mask = bits == 0 ? 0 : ~std::uint32_t{0} << (32 - bits);
  return (address & mask) == (network & mask);
}

bool GlobMatches(std::string_view pattern, std::string_view text) {
  std::size_t p = 0, t = 0, star = std::string_view::npos, resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && AsciiLower(pattern[p]) == AsciiLower(text[t])) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace

std::string UrlScheme(const std::string& url) {
  const auto end = url.find("://");
  return end == std::string::npos ? std::string() : AsciiLowered(url.substr(0, end));
}

std::string UrlHost(const std::string& url) {
  const std::string_view authority = Authority(url);
  if (!authority.empty() && authority.front() == '[') {
    const auto close = authority.find(']');
    return close == std::string_view::npos ? std::string()
                                           : AsciiLowered(authority.substr(1, close - 1));
  }
  return AsciiLowered(authority.substr(0, authority.find(':')));
}

bool NoProxyCovers(const std::string& noProxy, const std::string& host) {
  const std::string name = AsciiLowered(host);
  std::uint32_t address = 0;
  const bool literal = ParseIpv4(name, address) || name.find(':') != std::string::npos;
  for (std::string entry : Entries(AsciiLowered(noProxy), ", \t")) {
    if (entry == "*") return true;
    if (literal) {
      if (entry.front() == '[' && entry.back() == ']') entry = entry.substr(1, entry.size() - 2);
      if (entry == name || (entry.find('/') != std::string::npos && InIpv4Block(name, entry)))
        return true;
      continue;
    }
    while (!entry.empty() && entry.front() == '.') entry.erase(0, 1);
    if (entry.empty()) continue;
    if (name == entry) return true;
    if (name.size() > entry.size() && name.ends_with(entry) &&
        name[name.size() - entry.size() - 1] == '.')
      return true;
  }
  return false;
}

bool BypassListCovers(const std::string& bypass, const std::string& host) {
  for (std::string entry : Entries(bypass, "; \t\r\n")) {
    if (EqualsIgnoringAsciiCase(entry, "<local>")) {
      if (host.find_first_of(".:") == std::string::npos) return true;
      continue;
    }
    const auto scheme = entry.find("://");
    if (scheme != std::string::npos) entry.erase(0, scheme + 3);
    entry = entry.substr(0, entry.find('/'));
    // A port ends the entry; an IPv6 literal is more than one colon.
    if (const auto colon = entry.find(':'); colon != std::string::npos && entry.rfind(':') == colon)
      entry.erase(colon);
    if (entry.size() > 1 && entry.front() == '[' && entry.back() == ']')
      entry = entry.substr(1, entry.size() - 2);
    if (!entry.empty() && GlobMatches(entry, host)) return true;
  }
  return false;
}

std::string ProxyForScheme(const std::string& setting, const std::string& scheme) {
  std::string own, shared, socks;
  for (const std::string& entry : Entries(setting, "; \t")) {
    const auto equals = entry.find('=');
    if (equals == std::string::npos) {
      if (shared.empty()) shared = entry;
      continue;
    }
    const std::string key = AsciiLowered(entry.substr(0, equals));
    const std::string value = entry.substr(equals + 1);
    if (value.empty()) continue;
    if (key == scheme && own.empty()) own = value;
    if (key == "socks" && socks.empty()) {
      socks = value.find("://") == std::string::npos ? "socks4://" + value : value;
    }
  }
  if (!own.empty()) return own;
  if (!shared.empty()) return shared;
  return socks;
}

}  // namespace rotalis::platform
