#pragma once
// One ICMP echo ("ping") to a host.

#include <string>

namespace rotalis::platform {

// Sends one echo request to `address` (a numeric IPv4 address or a host name)
// and waits up to `timeoutMs` for the matching echo reply. True only for that
// reply; a time-out, an unreachable host, an error reply or any local failure
// (no permission to send ICMP, no route, a bad address) gives false. Never
// raises.
//
// On Linux an unprivileged ICMP datagram socket is tried first; it needs the
// caller's group inside net.ipv4.ping_group_range. Otherwise a raw socket is
// used, which needs CAP_NET_RAW (root).
bool PingOnce(const std::string& address, int timeoutMs) noexcept;

}  // namespace rotalis::platform
