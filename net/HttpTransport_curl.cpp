// The libcurl transport: the only file that sees curl.

#include <curl/curl.h>

#include <chrono>
#include <exception>
#include <memory>
#include <string>

#include "net/HttpTransport.h"
#include "platform/SystemProxy.h"

namespace rotalis::net {
namespace {

struct EasyDeleter {
  void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};
using ScopedCurl = std::unique_ptr<CURL, EasyDeleter>;

// curl_slist grows by returning a new head, so it cannot sit in a unique_ptr
// directly.
class CurlSList {
 public:
  CurlSList() = default;
  ~CurlSList() { curl_slist_free_all(list_); }
  CurlSList(const CurlSList&) = delete;
  CurlSList& operator=(const CurlSList&) = delete;

  void Append(const std::string& line) {
    curl_slist* grown = curl_slist_append(list_, line.c_str());
    if (grown == nullptr) throw HttpTransportError("out of memory building the request headers");
    list_ = grown;
  }
  curl_slist* get() const { return list_; }

 private:
  curl_slist* list_ = nullptr;
};

using Clock = std::chrono::steady_clock;

// Everything the callbacks need, for the span of one transfer.
struct Transfer {
  CURL* handle = nullptr;
  const HttpRequest* request = nullptr;
  platform::ProxyRoute route;
  HttpBodySink* sink = nullptr;
  HttpResponse* response = nullptr;
  std::exception_ptr failure;  // thrown by a sink, to be rethrown after curl returns
  Clock::time_point lastActivity = Clock::now();
  curl_off_t lastReceived = -1;
  bool stalled = false;
  bool cancelled = false;
  bool lengthSent = false;
  bool proxyRefused = false;
};

std::string Trimmed(std::string text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

// Header lines of every response in a redirect chain arrive here; only the last
// response's lines are kept.
size_t OnHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  transfer->lastActivity = Clock::now();
  try {
    const std::string line(data, size * count);
    if (line.rfind("HTTP/", 0) == 0) {
      transfer->response->headers.clear();
      const auto code = line.find(' ');
      const auto text = code == std::string::npos ? code : line.find(' ', code + 1);
      transfer->response->statusText = text == std::string::npos ? "" : Trimmed(line.substr(text));
      return size * count;
    }
    const auto colon = line.find(':');
    if (colon != std::string::npos) {
      transfer->response->headers.emplace_back(Trimmed(line.substr(0, colon)),
                                               Trimmed(line.substr(colon + 1)));
    }
    return size * count;
  } catch (...) {
    transfer->failure = std::current_exception();
    return 0;
  }
}

// The announced length, when it is that of the body the sink will receive: a
// coded body arrives decoded, longer than announced.
void AnnounceLength(const Transfer& transfer) {
  curl_off_t length = -1;
  curl_easy_getinfo(transfer.handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  const auto coding = FindHeader(transfer.response->headers, "Content-Encoding");
  if (length >= 0 && (!coding || *coding == "identity")) {
    transfer.sink->SetLength(static_cast<std::uint64_t>(length));
  }
}

size_t OnBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const size_t bytes = size * count;
  transfer->lastActivity = Clock::now();
  try {
    if (transfer->sink == nullptr) {
      std::string& body = transfer->response->body;
      if (!transfer->lengthSent) {
        // Reserved once at the announced size: a large answer grown by
        // doubling stands in memory up to twice its size.
        transfer->lengthSent = true;
        curl_off_t length = -1;
        curl_easy_getinfo(transfer->handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
        if (length > 0 && !FindHeader(transfer->response->headers, "Content-Encoding")) {
          body.reserve(static_cast<std::size_t>(length));
        }
      }
      body.append(data, bytes);
      return bytes;
    }
    if (!transfer->lengthSent) {
      transfer->lengthSent = true;
      long status = 0;
      curl_easy_getinfo(transfer->handle, CURLINFO_RESPONSE_CODE, &status);
      // The proxy's own refusal page is no body of the server's.
      transfer->proxyRefused = status == 407 && !transfer->route.proxy.empty();
      if (transfer->proxyRefused) return bytes;
      transfer->sink->SetStatus(static_cast<int>(status));
      AnnounceLength(*transfer);
    }
    if (transfer->proxyRefused) return bytes;
    transfer->sink->Add(data, bytes);
    return bytes;
  } catch (...) {
    transfer->failure = std::current_exception();
    return CURL_WRITEFUNC_ERROR;
  }
}

// curl has a connect time-out and a whole-transfer time-out but no "longest
// silence" time-out, which is what a read time-out means for a download of any
// size; the progress callback, called at least once a second, measures it.
int OnProgress(void* user, curl_off_t total, curl_off_t received, curl_off_t, curl_off_t) {
  auto* transfer = static_cast<Transfer*>(user);
  const auto now = Clock::now();
  curl_off_t connectedAfter = 0;
  curl_easy_getinfo(transfer->handle, CURLINFO_CONNECT_TIME_T, &connectedAfter);
  // Until the connection stands, the connect time-out is the one that counts.
  if (connectedAfter == 0 || received != transfer->lastReceived) {
    transfer->lastReceived = received;
    transfer->lastActivity = now;
  }
  if (transfer->request->onProgress) {
    try {
      if (!transfer->request->onProgress(static_cast<std::uint64_t>(received),
                                         static_cast<std::uint64_t>(total))) {
        transfer->cancelled = true;
        return 1;
      }
    } catch (...) {
      transfer->failure = std::current_exception();
      return 1;
    }
  }
  const auto silence =
      std::chrono::duration_cast<std::chrono::milliseconds>(now - transfer->lastActivity);
  if (silence.count() > transfer->request->readTimeoutMs) {
    transfer->stalled = true;
    return 1;
  }
  return 0;
}

template <typename Value>
void SetOption(CURL* handle, CURLoption option, Value value) {
  const CURLcode code = curl_easy_setopt(handle, option, value);
  if (code != CURLE_OK) {
    throw HttpTransportError(std::string("cannot prepare the request: ") +
                             curl_easy_strerror(code));
  }
}

void Prepare(CURL* handle, const HttpRequest& request, CurlSList& headers, Transfer& transfer,
             char* errorBuffer) {
  SetOption(handle, CURLOPT_ERRORBUFFER, errorBuffer);
  SetOption(handle, CURLOPT_URL, request.url.c_str());
  SetOption(handle, CURLOPT_NOSIGNAL, 1L);
  SetOption(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  SetOption(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  SetOption(handle, CURLOPT_FOLLOWLOCATION, request.followRedirects ? 1L : 0L);
  SetOption(handle, CURLOPT_MAXREDIRS, 10L);
  SetOption(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request.connectTimeoutMs));
  SetOption(handle, CURLOPT_USERAGENT, request.userAgent.c_str());
  // Older protocol versions are broken; the peer must speak TLS 1.2 or newer.
  SetOption(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  SetOption(handle, CURLOPT_SSL_VERIFYPEER, 1L);
  SetOption(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  // Schannel (Windows) refuses a certificate whose revocation status it cannot
  // learn: a CRL or OCSP server out of reach from the office network, or a
  // company's TLS inspection certificate that names no such server at all.
  // Browsers let those through; a certificate known to be revoked is still
  // refused. The other TLS libraries do not check revocation here and ignore it.
  SetOption(handle, CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  if (!request.caFile.empty()) SetOption(handle, CURLOPT_CAINFO, request.caFile.c_str());
  // Set even when empty: the route decided here is the one a failure names, so
  // curl must not pick another from the environment.
  SetOption(handle, CURLOPT_PROXY, transfer.route.proxy.c_str());
  if (transfer.route.logonCredentials) {
    // ":" makes curl ask the system's security package for the logged-on
    // user's credentials; Basic would need a password, so it is not offered.
    SetOption(handle, CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_NEGOTIATE | CURLAUTH_NTLM));
    SetOption(handle, CURLOPT_PROXYUSERPWD, ":");
  }
  if (!request.acceptEncoding.empty()) {
    SetOption(handle, CURLOPT_ACCEPT_ENCODING, request.acceptEncoding.c_str());
  }

  if (request.method == "GET") {
    SetOption(handle, CURLOPT_HTTPGET, 1L);
  } else if (request.method == "HEAD") {
    SetOption(handle, CURLOPT_NOBODY, 1L);
  } else if (request.method == "POST") {
    SetOption(handle, CURLOPT_POST, 1L);
  } else {
    SetOption(handle, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  }
  if (!request.body.empty() || request.method == "POST") {
    SetOption(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    SetOption(handle, CURLOPT_POSTFIELDS, request.body.data());
  }

  for (const auto& [name, value] : request.headers) {
    headers.Append(value.empty() ? name + ";" : name + ": " + value);
  }
  // curl would otherwise ask the server to confirm a larger body first.
  headers.Append("Expect:");
  SetOption(handle, CURLOPT_HTTPHEADER, headers.get());

  SetOption(handle, CURLOPT_HEADERFUNCTION, &OnHeader);
  SetOption(handle, CURLOPT_HEADERDATA, &transfer);
  SetOption(handle, CURLOPT_WRITEFUNCTION, &OnBody);
  SetOption(handle, CURLOPT_WRITEDATA, &transfer);
  SetOption(handle, CURLOPT_XFERINFOFUNCTION, &OnProgress);
  SetOption(handle, CURLOPT_XFERINFODATA, &transfer);
  SetOption(handle, CURLOPT_NOPROGRESS, 0L);
}

class CurlTransport : public HttpTransport {
 public:
  HttpResponse Send(const HttpRequest& request, HttpBodySink* sink) override {
    ScopedCurl handle(curl_easy_init());
    if (!handle) throw HttpTransportError("cannot start the HTTP client");
    HttpResponse response;
    Transfer transfer;
    transfer.handle = handle.get();
    transfer.request = &request;
    transfer.sink = sink;
    transfer.response = &response;
    transfer.route = platform::SystemProxyFor(request.url);
    CurlSList headers;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    Prepare(handle.get(), request, headers, transfer, errorBuffer);

    const CURLcode code = curl_easy_perform(handle.get());
    if (transfer.failure) std::rethrow_exception(transfer.failure);
    if (code != CURLE_OK) throw HttpTransportError(Describe(code, transfer, request, errorBuffer));

    long status = 0;
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
    // Only a proxy answers 407: the request never reached the server.
    if (status == 407 && !transfer.route.proxy.empty())
      throw HttpTransportError(ProxyAnswer(transfer, status));
    response.statusCode = static_cast<int>(status);
    const char* contentType = nullptr;
    curl_easy_getinfo(handle.get(), CURLINFO_CONTENT_TYPE, &contentType);
    response.contentType = contentType == nullptr ? "" : contentType;
    return response;
  }

 private:
  static std::string Describe(CURLcode code, const Transfer& transfer, const HttpRequest& request,
                              const char* errorBuffer) {
    if (transfer.stalled) {
      return "Operation timed out after " + std::to_string(request.readTimeoutMs) +
             " milliseconds with no data received from " + request.url;
    }
    if (transfer.cancelled) return "transfer cancelled";
    std::string message = errorBuffer[0] != '\0' ? errorBuffer : curl_easy_strerror(code);
    while (!message.empty() && message.back() == '\n') message.pop_back();
    if (transfer.route.proxy.empty()) return message;
    // A tunnel the proxy would not open (https) fails with the proxy's status.
    long connectStatus = 0;
    curl_easy_getinfo(transfer.handle, CURLINFO_HTTP_CONNECTCODE, &connectStatus);
    if (connectStatus >= 300) return ProxyAnswer(transfer, connectStatus);
    return message + " (through the proxy " + transfer.route.proxy + ")";
  }

  static std::string ProxyAnswer(const Transfer& transfer, long status) {
    std::string answer = std::to_string(status);
    if (!transfer.response->statusText.empty()) answer += " " + transfer.response->statusText;
    return "the proxy " + transfer.route.proxy + " refused the request with " + answer;
  }
};

}  // namespace

std::unique_ptr<HttpTransport> HttpTransport::Create() { return std::make_unique<CurlTransport>(); }

}  // namespace rotalis::net
