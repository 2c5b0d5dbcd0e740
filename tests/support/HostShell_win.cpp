// The host is the Linux machine under Wine; the agent reached through
// ROTALIS_HOST_AGENT ("127.0.0.1:<port>") runs its commands.

#include <winsock2.h>
#include <ws2tcpip.h>
// winsock2.h before windows.h, which would pull in the old winsock.
#include <windows.h>

#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "platform/WideText_win.h"
#include "tests/support/HostShell.h"

namespace rotalis::test {
namespace {

// Names the fixture scripts read from the test's environment.
constexpr const char* kPassedVariables[] = {"ROTALIS_SOURCE_DIR", "ROTALIS_BINARY_DIR",
                                            "ROTALIS_MARIADB_CACHE"};
constexpr DWORD kRunTimeoutMs = 900'000;
constexpr std::size_t kMaxReply = 4u << 20;

class Winsock {
 public:
  Winsock() {
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) throw std::runtime_error("WSAStartup failed");
  }
  ~Winsock() { WSACleanup(); }
  Winsock(const Winsock&) = delete;
  Winsock& operator=(const Winsock&) = delete;
};

void EnsureWinsock() { static Winsock winsock; }

class Socket {
 public:
  Socket() = default;
  explicit Socket(SOCKET handle) : handle_(handle) {}
  ~Socket() {
    if (handle_ != INVALID_SOCKET) closesocket(handle_);
  }
  Socket(Socket&& other) noexcept : handle_(other.handle_) { other.handle_ = INVALID_SOCKET; }
  Socket& operator=(Socket&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  SOCKET get() const { return handle_; }

 private:
  SOCKET handle_ = INVALID_SOCKET;
};

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string Request(const char* op, const std::string& command, bool capture) {
  nlohmann::json env = nlohmann::json::object();
  for (const char* name : kPassedVariables) {
    if (const char* value = std::getenv(name)) env[name] = value;
  }
  const nlohmann::json request = {
      {"op", op}, {"command", command}, {"env", env}, {"capture", capture}};
  return request.dump() + "\n";
}

Socket Connect() {
  EnsureWinsock();
  const std::string address = Environment("ROTALIS_HOST_AGENT");
  const auto colon = address.rfind(':');
  if (colon == std::string::npos)
    throw std::runtime_error(
        "ROTALIS_HOST_AGENT is not set to <address>:<port>; the Windows tests run through "
        "scripts/test-windows.sh, which starts the host agent");
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(static_cast<u_short>(std::atoi(address.c_str() + colon + 1)));
  if (inet_pton(AF_INET, address.substr(0, colon).c_str(), &peer.sin_addr) != 1)
    throw std::runtime_error("ROTALIS_HOST_AGENT holds no IPv4 address: " + address);
  Socket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  if (socket.get() == INVALID_SOCKET) throw std::runtime_error("cannot make a socket");
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0)
    throw std::runtime_error("the host agent does not answer at " + address);
  return socket;
}

void SendAll(const Socket& socket, const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const int n = send(socket.get(), bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
    if (n <= 0) throw std::runtime_error("the host agent hung up");
    sent += static_cast<std::size_t>(n);
  }
}

// One reply line, without its line break; empty when the agent hung up first.
std::string ReadLine(const Socket& socket, std::string& buffer) {
  for (;;) {
    const auto end = buffer.find('\n');
    if (end != std::string::npos) {
      std::string line = buffer.substr(0, end);
      buffer.erase(0, end + 1);
      return line;
    }
    if (buffer.size() > kMaxReply) throw std::runtime_error("the host agent's reply is too long");
    char chunk[4096];
    const int n = recv(socket.get(), chunk, sizeof chunk, 0);
    if (n <= 0) return std::string();
    buffer.append(chunk, static_cast<std::size_t>(n));
  }
}

// One reply of the agent; raises on a refusal or when the agent hung up.
nlohmann::json Reply(const std::string& line, const std::string& command) {
  if (line.empty()) throw std::runtime_error("the host agent hung up while running " + command);
  nlohmann::json reply = nlohmann::json::parse(line, nullptr, false);
  if (!reply.is_object())
    throw std::runtime_error("the host agent answered no JSON object: " + line);
  if (reply.contains("error"))
    throw std::runtime_error("the host agent refused " + command + ": " +
                             reply["error"].get<std::string>());
  return reply;
}

// Wine hands its converted names out on the process heap.
struct HeapFreer {
  void operator()(void* block) const { HeapFree(GetProcessHeap(), 0, block); }
};

template <typename Function>
Function WineExport(const char* name) {
  const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  const auto function = kernel == nullptr ? nullptr : GetProcAddress(kernel, name);
  if (function == nullptr)
    throw std::runtime_error(std::string("not running under Wine (kernel32 has no ") + name + ")");
  return reinterpret_cast<Function>(reinterpret_cast<void*>(function));
}

bool EndsWithSeparator(const std::string& path) {
  return !path.empty() && (path.back() == '/' || path.back() == '\\');
}

}  // namespace

struct HostProcess::State {
  Socket socket;
  std::string buffer;
  int pid = 0;
};

int RunHostCommand(const std::string& command, std::string* output) {
  Socket socket = Connect();
  const DWORD timeout = kRunTimeoutMs;
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout),
             sizeof timeout);
  SendAll(socket, Request("run", command, output != nullptr));
  std::string buffer;
  const nlohmann::json reply = Reply(ReadLine(socket, buffer), command);
  if (output != nullptr) *output = reply.value("output", std::string());
  return reply.value("status", -1);
}

HostProcess::HostProcess(const std::string& command) : state_(std::make_unique<State>()) {
  state_->socket = Connect();
  SendAll(state_->socket, Request("spawn", command, false));
  state_->pid = Reply(ReadLine(state_->socket, state_->buffer), command).value("pid", 0);
}

// Our end of the connection stands for the command's input: shutting it down
// closes that input, and the agent answers once the command has ended.
HostProcess::~HostProcess() {
  shutdown(state_->socket.get(), SD_SEND);
  const DWORD timeout = kRunTimeoutMs;
  setsockopt(state_->socket.get(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout),
             sizeof timeout);
  ReadLine(state_->socket, state_->buffer);
}

HostLifeline::HostLifeline()
    : keeper_(std::make_unique<HostProcess>("exec cat >/dev/null")), pid_(keeper_->Get().pid) {}
HostLifeline::~HostLifeline() = default;

std::string HostPath(const std::string& path) {
  using Convert = char*(CDECL*)(LPCWSTR);
  static const auto convert = WineExport<Convert>("wine_get_unix_file_name");
  std::string local = path;
  const bool folder = EndsWithSeparator(local);
  while (local.size() > 3 && EndsWithSeparator(local)) local.pop_back();
  // Wine names only paths whose folders exist; the rest is appended as it is.
  std::string missing;
  for (int depth = 0; depth < 64; ++depth) {
    const std::unique_ptr<char, HeapFreer> unix(convert(platform::WideFromUtf8(local).c_str()));
    if (unix) {
      std::string host(unix.get());
      if (!missing.empty()) host += (EndsWithSeparator(host) ? "" : "/") + missing;
      if (folder && !EndsWithSeparator(host)) host += '/';
      return host;
    }
    const auto cut = local.find_last_of("\\/");
    if (cut == std::string::npos || cut < 3) break;
    missing = local.substr(cut + 1) + (missing.empty() ? "" : "/" + missing);
    local.erase(cut);
  }
  throw std::runtime_error("Wine has no host path for " + path);
}

std::string LocalPath(const std::string& hostPath) {
  using Convert = WCHAR*(CDECL*)(LPCSTR);
  static const auto convert = WineExport<Convert>("wine_get_dos_file_name");
  const std::unique_ptr<WCHAR, HeapFreer> dos(convert(hostPath.c_str()));
  if (!dos) throw std::runtime_error("Wine has no Windows path for " + hostPath);
  return platform::Utf8FromWide(dos.get());
}

}  // namespace rotalis::test
