#pragma once
// The fluent request builder through which the program makes its JSON requests:
//
//   auto response = TRequest::New()->BaseURL(url).AddParam("cnpj", cnpj)
//                       .TokenBearer(key).AddHeader("Accept", "application/json").Get();
//
// Setters return the same request so they chain; blank names or values are
// ignored. Get never raises for an HTTP status (test StatusCode); a failure to
// carry the exchange raises ERESTException ("REST request failed: ...").

#include <memory>
#include <set>
#include <string>

#include "net/HttpTransport.h"
#include "net/RESTException.h"

namespace rotalis::net {

enum TParameterKind {
  pkCOOKIE,
  pkGETorPOST,
  pkURLSEGMENT,
  pkHTTPHEADER,
  pkREQUESTBODY,
  pkFILE,
  pkQUERY
};
enum TParameterOption {
  poDoNotEncode,
  poTransient,
  poAutoCreated,
  poFlatArray,
  poPHPArray,
  poListArray
};
using TParameterOptions = std::set<TParameterOption>;
enum TRequestMethod { rmPOST, rmPUT, rmGET, rmDELETE, rmPATCH };

// What one request brought back. It holds its own copy of everything, so it may
// outlive the request that made it.
class IResponse {
 public:
  virtual ~IResponse() = default;
  // The body decoded to UTF-8 (see DecodeBody); empty when it was not decoded.
  virtual const std::string& Content() const = 0;
  // Content() moved out, for a caller that holds the only reference and wants
  // a large answer in memory once. Content() reads empty afterwards, and so
  // does RawBytes() when the body needed no decoding.
  virtual std::string TakeContent() = 0;
  virtual int StatusCode() const = 0;
  virtual const std::string& StatusText() const = 0;
  virtual const std::string& ContentType() const = 0;  // e.g. "text/html; charset=utf-8"
  virtual const std::string& RawBytes() const = 0;     // the body as delivered
  virtual const HttpHeaders& Headers() const = 0;
};

class IRequest {
 public:
  virtual ~IRequest() = default;

  // Both rewrite ":name" path pieces to "{name}" placeholders, filled from
  // pkURLSEGMENT parameters of that name.
  virtual IRequest& BaseURL(const std::string& url) = 0;
  virtual IRequest& Resource(const std::string& resource) = 0;
  // A parameter of the same name (any case) is replaced. pkFILE is refused.
  virtual IRequest& AddParam(const std::string& name, const std::string& value,
                             TParameterKind kind = pkQUERY,
                             const TParameterOptions& options = {}) = 0;
  // Replaces a header of the same name, the defaults (Accept, Accept-Charset) included.
  virtual IRequest& AddHeader(const std::string& name, const std::string& value,
                              const TParameterOptions& options = {}) = 0;
  virtual IRequest& TokenBearer(const std::string& token) = 0;  // Token("Bearer " + token)
  virtual IRequest& Token(const std::string& authorization) = 0;
  // Connect and read time-out alike, in milliseconds (default 30000 each).
  virtual IRequest& Timeout(int milliseconds) = 0;
  // PEM bundle trusted for https instead of the system store; empty: system store.
  virtual IRequest& CaFile(const std::string& path) = 0;

  virtual const std::string& BaseURL() const = 0;
  virtual const std::string& Resource() const = 0;
  // The address Get would request: base, resource, placeholders and query.
  virtual std::string FullURL() const = 0;
  // The request as it would go on the wire (method, address, headers, time-outs).
  virtual HttpRequest Prepare(TRequestMethod method) const = 0;

  virtual std::shared_ptr<IResponse> Get() = 0;
};

class TRequest {
 public:
  // A fresh request with the defaults: GET, 30 s connect and read time-outs,
  // Accept "application/json, text/plain; q=0.9, text/html;q=0.8,", Accept-Charset
  // "utf-8, *;q=0.8", no Accept-Encoding, redirects followed, one attempt.
  static std::shared_ptr<IRequest> New();
  // The same over another transport (tests, or a caller that keeps one).
  static std::shared_ptr<IRequest> New(std::shared_ptr<HttpTransport> transport);
};

}  // namespace rotalis::net
