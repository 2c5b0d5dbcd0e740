#pragma once
// The one HTTP client of the program. A request is plain data (HttpRequest);
// an HttpTransport sends it and hands back the status, headers and body. HTTP
// statuses never raise: a 404 or a 500 is a response like any other. Only a
// failure to carry the exchange (name not resolved, connection refused, TLS
// failure, time-out, reset, a sink or progress callback that gave up) raises
// HttpTransportError with the transport's own message.
//
// Every request goes through the proxy the system's settings name for its
// address (platform/SystemProxy.h). A proxy that refuses (asks for credentials
// it does not get, will not open the tunnel, cannot be reached) is a transport
// failure too, and its message names the proxy.
//
// Users: the request builder (net/Request.h), the update download (streams the
// body into a sink, asks for gzip/deflate) and the crash reporter's submission
// (POST with a body and custom headers).

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Exception.h"

namespace rotalis::net {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

struct HttpRequest {
  std::string method = "GET";  // "GET", "POST", "PUT", "DELETE", "PATCH", ...
  std::string url;             // absolute http:// or https:// address, already encoded
  HttpHeaders headers;         // sent in this order; an empty value sends "Name:" bare
  std::string body;            // sent when not empty (POST, PUT, PATCH)

  int connectTimeoutMs = 30000;  // to establish the connection (TLS handshake included)
  int readTimeoutMs = 30000;     // longest wait for the next byte of the response

  bool followRedirects = true;
  // Sent as Accept-Encoding, and the body is decoded accordingly (e.g. "gzip, deflate").
  // Empty: no Accept-Encoding header and the body is taken as delivered.
  std::string acceptEncoding;
  // PEM bundle trusted for https instead of the system store; empty: the system store.
  std::string caFile;
  std::string userAgent = "rotalis/1.0";

  // Called while the transfer runs (also while it waits), with the body bytes
  // received so far and the announced total (0 when unknown). Returning false
  // cancels the transfer, which then raises HttpTransportError.
  std::function<bool(std::uint64_t received, std::uint64_t total)> onProgress;
};

struct HttpResponse {
  int statusCode = 0;
  std::string statusText;   // reason phrase of the final status line
  std::string contentType;  // Content-Type as sent, parameters included; empty if none
  HttpHeaders headers;      // header lines of the final response, in order
  std::string body;         // raw bytes (after content decoding); empty when a sink took them
};

// Receives the body as it arrives, instead of HttpResponse::body.
class HttpBodySink {
 public:
  virtual ~HttpBodySink() = default;
  // The status of the response the body belongs to, before SetLength and the
  // first Add; not called when no body arrives. A sink that keeps only some
  // answers (a resumed download) decides here where the bytes go.
  virtual void SetStatus(int statusCode) {}
  // The length the server announced, before the first Add; not called when unknown.
  virtual void SetLength(std::uint64_t length) = 0;
  // The next piece of the body. An exception thrown here cancels the transfer and
  // is rethrown by Send unchanged.
  virtual void Add(const char* data, std::size_t size) = 0;
};

class HttpTransportError : public Exception {
 public:
  using Exception::Exception;
};

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;

  // Sends the request and waits for the whole response. With a sink the body
  // goes there and HttpResponse::body stays empty.
  virtual HttpResponse Send(const HttpRequest& request, HttpBodySink* sink = nullptr) = 0;

  // The transport built for this platform.
  static std::unique_ptr<HttpTransport> Create();
};

// Case-insensitive lookup of a header's value; nothing when absent.
std::optional<std::string> FindHeader(const HttpHeaders& headers, const std::string& name);

}  // namespace rotalis::net
