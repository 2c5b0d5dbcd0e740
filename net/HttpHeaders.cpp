#include <algorithm>
#include <cctype>

#include "net/HttpTransport.h"

namespace rotalis::net {

std::optional<std::string> FindHeader(const HttpHeaders& headers, const std::string& name) {
  const auto sameName = [&name](const auto& header) {
    return std::ranges::equal(header.first, name, [](unsigned char a, unsigned char b) {
      return std::tolower(a) == std::tolower(b);
    });
  };
  const auto found = std::ranges::find_if(headers, sameName);
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

}  // namespace rotalis::net
