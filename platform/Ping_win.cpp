#include "platform/Ping.h"

// winsock2 before windows.h, and the IP helper's types before icmpapi.h:
// each in a block of its own, so that sorting keeps the order.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <iphlpapi.h>

#include <icmpapi.h>

#include <optional>
#include <vector>

namespace rotalis::platform {
namespace {

// Name resolution needs the socket library started; the count is the
// library's own, so nesting with other users (the HTTP client) is fine.
class WinsockSession {
 public:
  WinsockSession() {
    WSADATA data{};
    started_ = WSAStartup(MAKEWORD(2, 2), &data) == 0;
  }
  ~WinsockSession() {
    if (started_) WSACleanup();
  }
  WinsockSession(const WinsockSession&) = delete;
  WinsockSession& operator=(const WinsockSession&) = delete;
  bool Started() const { return started_; }

 private:
  bool started_ = false;
};

std::optional<IN_ADDR> ResolveIPv4(const std::string& address) {
  IN_ADDR numeric{};
  if (inet_pton(AF_INET, address.c_str(), &numeric) == 1) return numeric;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (getaddrinfo(address.c_str(), nullptr, &hints, &found) != 0 || found == nullptr)
    return std::nullopt;
  const IN_ADDR result = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  freeaddrinfo(found);
  return result;
}

}  // namespace

bool PingOnce(const std::string& address, int timeoutMs) noexcept {
  try {
    // Windows resolves an empty name to this machine; no address is no reply.
    if (timeoutMs <= 0 || address.empty()) return false;
    const WinsockSession winsock;
    if (!winsock.Started()) return false;
    const auto target = ResolveIPv4(address);
    if (!target) return false;
    const HANDLE icmp = IcmpCreateFile();
    if (icmp == INVALID_HANDLE_VALUE) return false;
    char payload[32] = "rotalis update server check";
    // Room for one reply, its data and an ICMP error message, as the API asks.
    std::vector<unsigned char> reply(sizeof(ICMP_ECHO_REPLY) + sizeof payload + 8 + 64);
    const DWORD replies =
        IcmpSendEcho(icmp, target->S_un.S_addr, payload, sizeof payload, nullptr, reply.data(),
                     static_cast<DWORD>(reply.size()), static_cast<DWORD>(timeoutMs));
    IcmpCloseHandle(icmp);
    if (replies == 0) return false;
    const auto* echo = reinterpret_cast<const ICMP_ECHO_REPLY*>(reply.data());
    return echo->Status == IP_SUCCESS && echo->Address == target->S_un.S_addr;
  } catch (...) {
    return false;
  }
}

}  // namespace rotalis::platform
