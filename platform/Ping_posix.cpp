#include "platform/Ping.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include "platform/ScopedFd_posix.h"

namespace rotalis::platform {
namespace {

std::optional<in_addr> ResolveIPv4(const std::string& address) {
  in_addr numeric{};
  if (inet_pton(AF_INET, address.c_str(), &numeric) == 1) return numeric;
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (getaddrinfo(address.c_str(), nullptr, &hints, &found) != 0 || found == nullptr)
    return std::nullopt;
  in_addr result = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  freeaddrinfo(found);
  return result;
}

std::uint16_t Checksum(const unsigned char* data, std::size_t size) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i + 1 < size; i += 2) sum += (data[i] << 8) | data[i + 1];
  if (size % 2 != 0) sum += data[size - 1] << 8;
  while (sum >> 16) sum = (sum & 0xffff) + (sum >> 16);
  return htons(static_cast<std::uint16_t>(~sum));
}

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kPayloadSize = 32;

// The echo request as it goes on the wire. On a datagram socket the kernel
// replaces the identifier by the socket's own and recomputes nothing else.
void BuildEchoRequest(unsigned char (&packet)[kHeaderSize + kPayloadSize], std::uint16_t id,
                      std::uint16_t sequence) {
  std::memset(packet, 0, sizeof packet);
  packet[0] = ICMP_ECHO;
  packet[4] = static_cast<unsigned char>(id >> 8);
  packet[5] = static_cast<unsigned char>(id);
  packet[6] = static_cast<unsigned char>(sequence >> 8);
  packet[7] = static_cast<unsigned char>(sequence);
  for (std::size_t i = 0; i < kPayloadSize; ++i)
    packet[kHeaderSize + i] = static_cast<unsigned char>('a' + i % 26);
  const std::uint16_t sum = Checksum(packet, sizeof packet);
  std::memcpy(packet + 2, &sum, sizeof sum);
}

// Whether a received datagram is the reply to our request. A raw socket sees
// every ICMP message of the host, IP header included, so the source, the
// identifier and the sequence number must all match; a datagram socket only
// gets the replies meant for it, without IP header.
bool IsOurReply(const unsigned char* data, std::size_t size, bool raw, const sockaddr_in& from,
                const in_addr& target, std::uint16_t id, std::uint16_t sequence) {
  if (raw) {
    if (size < 20) return false;
    const std::size_t ipHeader = static_cast<std::size_t>(data[0] & 0x0f) * 4;
    if (size < ipHeader + kHeaderSize) return false;
    data += ipHeader;
    size -= ipHeader;
    if (from.sin_addr.s_addr != target.s_addr) return false;
    if (((data[4] << 8) | data[5]) != id) return false;
  }
  if (size < kHeaderSize || data[0] != ICMP_ECHOREPLY) return false;
  return ((data[6] << 8) | data[7]) == sequence;
}

bool Ping(int fd, bool raw, const in_addr& target, int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  const auto id = static_cast<std::uint16_t>(getpid());
  const std::uint16_t sequence = 1;
  unsigned char packet[kHeaderSize + kPayloadSize];
  BuildEchoRequest(packet, id, sequence);

  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_addr = target;
  if (sendto(fd, packet, sizeof packet, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0)
    return false;

  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    pollfd watch{fd, POLLIN, 0};
    const int ready = poll(&watch, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    unsigned char reply[1500];
    sockaddr_in from{};
    socklen_t fromSize = sizeof from;
    const ssize_t got =
        recvfrom(fd, reply, sizeof reply, 0, reinterpret_cast<sockaddr*>(&from), &fromSize);
    if (got < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return false;  // e.g. an ICMP error queued on a datagram socket
    }
    if (IsOurReply(reply, static_cast<std::size_t>(got), raw, from, target, id, sequence))
      return true;
  }
}

}  // namespace

bool PingOnce(const std::string& address, int timeoutMs) noexcept {
  try {
    // No address is no reply (the resolver would read an empty name as this machine).
    if (timeoutMs <= 0 || address.empty()) return false;
    const auto target = ResolveIPv4(address);
    if (!target) return false;
    {
      ScopedFd datagram(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP));
      if (datagram.get() >= 0) return Ping(datagram.get(), false, *target, timeoutMs);
    }
    ScopedFd raw(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP));
    if (raw.get() < 0) return false;
    return Ping(raw.get(), true, *target, timeoutMs);
  } catch (...) {
    return false;
  }
}

}  // namespace rotalis::platform
