#include <algorithm>

#include "net/HttpTransport.h"
#include "platform/AsciiCase.h"

namespace rotalis::net {

std::optional<std::string> FindHeader(const HttpHeaders& headers, const std::string& name) {
  const auto sameName = [&name](const auto& header) {
    return platform::EqualsIgnoringAsciiCase(header.first, name);
  };
  const auto found = std::ranges::find_if(headers, sameName);
  if (found == headers.end()) return std::nullopt;
  return found->second;
}

}  // namespace rotalis::net
