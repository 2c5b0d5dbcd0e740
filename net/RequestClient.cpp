// TRequestClient: the request builder's state, and the one place where it turns
// into an HttpRequest and a transport call.

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

#include "net/BodyDecoding.h"
#include "net/Request.h"
#include "net/RequestUrl.h"
#include "platform/AsciiCase.h"

namespace rotalis::net {
namespace {

constexpr char kDefaultAccept[] = "application/json, text/plain; q=0.9, text/html;q=0.8,";
constexpr char kDefaultAcceptCharset[] = "utf-8, *;q=0.8";
constexpr char kFallbackCharset[] = "utf-8";
constexpr int kDefaultTimeoutMs = 30000;

bool Blank(const std::string& text) {
  return std::ranges::all_of(text, [](unsigned char c) { return std::isspace(c) != 0; });
}

struct Parameter {
  std::string name;
  std::string value;
  TParameterKind kind;
  TParameterOptions options;
  bool Encoded() const { return !options.contains(poDoNotEncode); }
};

class TResponseClient : public IResponse {
 public:
  TResponseClient(HttpResponse response, std::optional<std::string> content)
      : response_(std::move(response)), content_(std::move(content)) {}
  const std::string& Content() const override { return content_ ? *content_ : response_.body; }
  std::string TakeContent() override { return std::move(content_ ? *content_ : response_.body); }
  int StatusCode() const override { return response_.statusCode; }
  const std::string& StatusText() const override { return response_.statusText; }
  const std::string& ContentType() const override { return response_.contentType; }
  const std::string& RawBytes() const override { return response_.body; }
  const HttpHeaders& Headers() const override { return response_.headers; }

 private:
  HttpResponse response_;
  // Nothing while the body as delivered is already the text: it is not held twice.
  std::optional<std::string> content_;
};

class TRequestClient : public IRequest {
 public:
  explicit TRequestClient(std::shared_ptr<HttpTransport> transport)
      : transport_(std::move(transport)) {
    SetParameter({"Accept", kDefaultAccept, pkHTTPHEADER, {}});
    SetParameter({"Accept-Charset", kDefaultAcceptCharset, pkHTTPHEADER, {}});
  }

  IRequest& BaseURL(const std::string& url) override {
    baseUrl_ = Placeholders(url);
    return *this;
  }
  IRequest& Resource(const std::string& resource) override {
    resource_ = Placeholders(resource);
    return *this;
  }

  IRequest& AddParam(const std::string& name, const std::string& value, TParameterKind kind,
                     const TParameterOptions& options) override {
    if (Blank(name) || Blank(value)) return *this;
    if (kind == pkFILE) throw Exception("File parameters are not supported: " + name);
    SetParameter({name, value, kind, options});
    return *this;
  }

  IRequest& AddHeader(const std::string& name, const std::string& value,
                      const TParameterOptions& options) override {
    if (Blank(name) || Blank(value)) return *this;
    SetParameter({name, value, pkHTTPHEADER, options});
    return *this;
  }

  IRequest& TokenBearer(const std::string& token) override {
    if (Blank(token)) return *this;
    return Token("Bearer " + token);
  }

  IRequest& Token(const std::string& authorization) override {
    if (Blank(authorization)) return *this;
    SetParameter({"Authorization", authorization, pkHTTPHEADER, {poDoNotEncode}});
    return *this;
  }

  IRequest& Timeout(int milliseconds) override {
    if (milliseconds <= 0) throw Exception("The time-out must be a positive number of ms");
    timeoutMs_ = milliseconds;
    return *this;
  }

  IRequest& CaFile(const std::string& path) override {
    caFile_ = path;
    return *this;
  }

  const std::string& BaseURL() const override { return baseUrl_; }
  const std::string& Resource() const override { return resource_; }

  std::string FullURL() const override {
    std::string url = JoinURL(baseUrl_, resource_);
    std::vector<std::string> query;
    for (const auto& parameter : parameters_) {
      const std::string value = parameter.Encoded() ? UrlEncode(parameter.value) : parameter.value;
      if (parameter.kind == pkURLSEGMENT) {
        const std::string placeholder = "{" + parameter.name + "}";
        for (auto at = url.find(placeholder); at != std::string::npos;
             at = url.find(placeholder, at + value.size())) {
          url.replace(at, placeholder.size(), value);
        }
      } else if (parameter.kind == pkQUERY || parameter.kind == pkGETorPOST) {
        const std::string name = parameter.Encoded() ? UrlEncode(parameter.name) : parameter.name;
        query.push_back(name + "=" + value);
      }
    }
    return AppendQuery(std::move(url), query);
  }

  HttpRequest Prepare(TRequestMethod method) const override {
    static constexpr const char* kMethods[] = {"POST", "PUT", "GET", "DELETE", "PATCH"};
    HttpRequest request;
    request.method = kMethods[method];
    request.url = FullURL();
    request.connectTimeoutMs = timeoutMs_;
    request.readTimeoutMs = timeoutMs_;
    request.followRedirects = true;
    request.caFile = caFile_;
    std::string cookies;
    for (const auto& parameter : parameters_) {
      if (parameter.kind == pkHTTPHEADER) {
        RefuseLineBreaks(parameter);
        request.headers.emplace_back(parameter.name, parameter.value);
      } else if (parameter.kind == pkCOOKIE) {
        RefuseLineBreaks(parameter);
        cookies += (cookies.empty() ? "" : "; ") + parameter.name + "=" + parameter.value;
      } else if (parameter.kind == pkREQUESTBODY && method != rmGET) {
        request.body += parameter.value;
      }
    }
    if (!cookies.empty()) request.headers.emplace_back("Cookie", cookies);
    return request;
  }

  std::shared_ptr<IResponse> Get() override { return Execute(rmGET); }

 private:
  // One attempt: the program asks for no retries.
  std::shared_ptr<IResponse> Execute(TRequestMethod method) {
    const HttpRequest request = Prepare(method);
    HttpResponse response;
    try {
      response = transport_->Send(request);
    } catch (const HttpTransportError& error) {
      throw ERESTException(error.what());
    }
    if (DecodesToItself(response.body, response.contentType, kFallbackCharset)) {
      return std::make_shared<TResponseClient>(std::move(response), std::nullopt);
    }
    std::string content =
        DecodeBody(response.body, response.contentType, kFallbackCharset).value_or(std::string());
    return std::make_shared<TResponseClient>(std::move(response), std::move(content));
  }

  std::string Placeholders(const std::string& text) {
    const UrlPlaceholders rewritten = MakeURL(text);
    for (const auto& name : rewritten.names) {
      const bool known = std::ranges::any_of(parameters_, [&name](const Parameter& parameter) {
        return parameter.kind == pkURLSEGMENT && parameter.name == name;
      });
      if (!known) parameters_.push_back({name, "", pkURLSEGMENT, {}});
    }
    return rewritten.text;
  }

  void SetParameter(Parameter parameter) {
    const auto same = std::ranges::find_if(parameters_, [&parameter](const Parameter& existing) {
      return existing.kind == parameter.kind &&
             platform::EqualsIgnoringAsciiCase(existing.name, parameter.name);
    });
    if (same == parameters_.end()) {
      parameters_.push_back(std::move(parameter));
    } else {
      *same = std::move(parameter);
    }
  }

  // A line break in a header would let a value smuggle in headers of its own.
  static void RefuseLineBreaks(const Parameter& parameter) {
    if ((parameter.name + parameter.value).find_first_of("\r\n") != std::string::npos) {
      throw Exception("Line break in the HTTP header " + parameter.name);
    }
  }

  std::shared_ptr<HttpTransport> transport_;
  std::string baseUrl_;
  std::string resource_;
  std::vector<Parameter> parameters_;
  int timeoutMs_ = kDefaultTimeoutMs;
  std::string caFile_;
};

}  // namespace

std::shared_ptr<IRequest> TRequest::New() { return New(HttpTransport::Create()); }

std::shared_ptr<IRequest> TRequest::New(std::shared_ptr<HttpTransport> transport) {
  return std::make_shared<TRequestClient>(std::move(transport));
}

}  // namespace rotalis::net
