#include "platform/SystemProxy.h"

// clang-format off
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include <optional>

#include "platform/ProxyRules.h"
#include "platform/WideText_win.h"

namespace rotalis::platform {
namespace {

// WinHTTP hands out its strings to be freed with GlobalFree.
std::string Taken(LPWSTR& text) {
  if (text == nullptr) return {};
  std::string taken = Utf8FromWide(text);
  GlobalFree(text);
  text = nullptr;
  return taken;
}

class Session {
 public:
  Session()
      : handle_(WinHttpOpen(L"rotalis", WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                            WINHTTP_NO_PROXY_BYPASS, 0)) {}
  ~Session() {
    if (handle_ != nullptr) WinHttpCloseHandle(handle_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  HINTERNET get() const { return handle_; }

 private:
  HINTERNET handle_;
};

ProxyRoute Through(const std::string& setting, const std::string& bypass, const std::string& url) {
  const std::string proxy = ProxyForScheme(setting, UrlScheme(url));
  if (proxy.empty() || BypassListCovers(bypass, UrlHost(url))) return {};
  return {proxy, true};
}

// What a configuration script, or the one automatic detection finds, answers
// for the address; nothing when there is no script to be had or it fails, and
// the other settings then decide.
std::optional<ProxyRoute> FromScript(const std::string& url, bool detect,
                                     const std::string& script) {
  Session session;
  if (session.get() == nullptr) return std::nullopt;
  const std::wstring wideUrl = WideFromUtf8(url);
  const std::wstring wideScript = WideFromUtf8(script);
  WINHTTP_AUTOPROXY_OPTIONS options{};
  if (detect) {
    options.dwFlags |= WINHTTP_AUTOPROXY_AUTO_DETECT;
    options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
  }
  if (!script.empty()) {
    options.dwFlags |= WINHTTP_AUTOPROXY_CONFIG_URL;
    options.lpszAutoConfigUrl = wideScript.c_str();
  }
  WINHTTP_PROXY_INFO info{};
  // A script server that asks who the user is gets the logged-on user, but
  // only once it asked: sending credentials unasked is what Microsoft warns of.
  BOOL found = WinHttpGetProxyForUrl(session.get(), wideUrl.c_str(), &options, &info);
  if (!found && GetLastError() == ERROR_WINHTTP_LOGIN_FAILURE) {
    options.fAutoLogonIfChallenged = TRUE;
    found = WinHttpGetProxyForUrl(session.get(), wideUrl.c_str(), &options, &info);
  }
  if (!found) return std::nullopt;
  const std::string proxy = Taken(info.lpszProxy);
  const std::string bypass = Taken(info.lpszProxyBypass);
  if (info.dwAccessType != WINHTTP_ACCESS_TYPE_NAMED_PROXY) return ProxyRoute{};
  return Through(proxy, bypass, url);
}

}  // namespace

// The user's settings first, in the order the system's own clients follow
// them (script and detection, then the fixed proxy); a user whose settings
// give nothing (a service account, detection that finds no script) gets the
// machine's WinHTTP setting, which an administrator may have set with netsh.
ProxyRoute SystemProxyFor(const std::string& url) {
  WINHTTP_CURRENT_USER_IE_PROXY_CONFIG user{};
  if (WinHttpGetIEProxyConfigForCurrentUser(&user)) {
    const std::string script = Taken(user.lpszAutoConfigUrl);
    const std::string proxy = Taken(user.lpszProxy);
    const std::string bypass = Taken(user.lpszProxyBypass);
    if (user.fAutoDetect || !script.empty()) {
      if (auto route = FromScript(url, user.fAutoDetect != FALSE, script)) return *route;
    }
    if (!proxy.empty()) return Through(proxy, bypass, url);
  }
  WINHTTP_PROXY_INFO machine{};
  if (!WinHttpGetDefaultProxyConfiguration(&machine)) return {};
  const std::string proxy = Taken(machine.lpszProxy);
  const std::string bypass = Taken(machine.lpszProxyBypass);
  if (machine.dwAccessType != WINHTTP_ACCESS_TYPE_NAMED_PROXY) return {};
  return Through(proxy, bypass, url);
}

}  // namespace rotalis::platform
