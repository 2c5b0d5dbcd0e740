#include "update/VerifiedDownload.h"

#include <cstdint>
#include <exception>
#include <optional>

#include "net/HttpTransport.h"
#include "platform/ChildProcess.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/OutputFile.h"
#include "platform/Paths.h"
#include "update/DownloadProgress.h"
#include "update/InstallerVerification.h"
#include "update/SignatureFile.h"
#include "update/UpdateDownload.h"

namespace rotalis {
namespace {

constexpr int kOk = 200;
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;

// A refusal of the installer itself, as opposed to a transfer that failed.
class VerificationFailure : public Exception {
 public:
  using Exception::Exception;
};

// The signature file in memory; a server that sends more than any signature
// needs is cut off rather than filling memory.
class SignatureSink : public net::HttpBodySink {
 public:
  void SetLength(std::uint64_t) override {}
  void Add(const char* data, std::size_t size) override {
    if (text.size() + size > kMaxSignatureFileBytes)
      throw VerificationFailure("o arquivo de assinatura no servidor é grande demais");
    text.append(data, size);
  }
  std::string text;
};

// Where the body of an installer answer goes: appended to the ".part" for a
// 206, in its place for a 200, nowhere for any other status (an error page is
// never stored under an installer's name).
class PartSink : public net::HttpBodySink {
 public:
  explicit PartSink(std::string partPath) : partPath_(std::move(partPath)) {}

  void SetStatus(int statusCode) override {
    if (statusCode == kPartialContent)
      file_.emplace(partPath_, /*executable=*/true, /*append=*/true);
    else if (statusCode == kOk)
      file_.emplace(partPath_, /*executable=*/true);
    stored_ = file_.has_value();
  }
  void SetLength(std::uint64_t) override {}
  void Add(const char* data, std::size_t size) override {
    if (file_) file_->Write(data, size);
  }
  void Finish() {
    if (file_) file_->Flush();
    file_.reset();
  }
  // Whether an answer opened the ".part" at all: an empty 200 body does not.
  bool Stored() const { return stored_; }

 private:
  std::string partPath_;
  std::optional<platform::OutputFile> file_;
  bool stored_ = false;
};

// Raised by a check of the installer or its signature: the installer is refused.
template <typename Check>
void AsRefusal(const Check& check) {
  try {
    check();
  } catch (const Exception& refusal) {
    throw VerificationFailure(refusal.what());
  }
}

std::string StatusText(const net::HttpResponse& response) {
  return "HTTP " + std::to_string(response.statusCode) +
         (response.statusText.empty() ? "" : " " + response.statusText);
}

std::string FetchSignature(const std::string& url) {
  net::HttpRequest request;
  request.url = url;
  SignatureSink sink;
  const net::HttpResponse response = net::HttpTransport::Create()->Send(request, &sink);
  if (response.statusCode != kOk)
    throw VerificationFailure("assinatura não encontrada no servidor (" + StatusText(response) +
                              ")");
  return sink.text;
}

// A 206 must continue exactly where the ".part" ended; bytes appended from
// elsewhere make a file that can never verify, so it is dropped at once.
void CheckResumedRange(const net::HttpResponse& response, std::uint64_t offset,
                       const std::string& partPath) {
  const auto range = net::FindHeader(response.headers, "Content-Range");
  const std::string expected = "bytes " + std::to_string(offset) + "-";
  if (!range || range->rfind(expected, 0) != 0) {
    platform::RemoveFile(partPath);
    throw Exception("o servidor retomou o download do ponto errado (" +
                    range.value_or("sem Content-Range") + ")");
  }
}

// Brings the ".part" to its full length. False when the server's answer
// stored nothing (the ".part", if any, stays as it was).
bool CompletePart(ui::Application& app, const std::string& url, const std::string& partPath,
                  const std::string& fileName, ui::ProgressForm* progress) {
  const std::uint64_t offset = platform::FileExists(partPath) ? platform::FileSize(partPath) : 0;
  net::HttpRequest request;
  request.url = url;
  // Byte ranges count the bytes as sent: a coded body could not be resumed.
  if (offset > 0) request.headers.emplace_back("Range", "bytes=" + std::to_string(offset) + "-");
  DownloadProgress throttle(app, progress, offset);
  request.onProgress = [&throttle](std::uint64_t received, std::uint64_t total) {
    return throttle(received, total);
  };

  PartSink sink(partPath);
  const net::HttpResponse response = net::HttpTransport::Create()->Send(request, &sink);
  sink.Finish();
  if (response.statusCode == kPartialContent) {
    CheckResumedRange(response, offset, partPath);
    return true;
  }
  if (response.statusCode == kOk) {
    // An empty body reaches no sink; it still replaces what was there.
    if (!sink.Stored()) platform::OutputFile(partPath, /*executable=*/true).Flush();
    return true;
  }
  // The ".part" is complete already: the start before this one was ended
  // between the last byte and the check.
  if (response.statusCode == kRangeNotSatisfiable && offset > 0) return true;
  app.ShowMessage("O instalador " + fileName + " não foi baixado: o servidor respondeu " +
                  StatusText(response) + ".");
  return false;
}

}  // namespace

void DownloadVerifiedUpdateFile(ui::Application& app, const std::string& base,
                                const std::string& editionKey, const std::string& fileName,
                                const std::string& destinationFolder, const std::string& publicKey,
                                ui::ProgressForm* progress) {
  const std::string localPath = platform::JoinPath(destinationFolder, fileName);
  const std::string partPath = localPath + ".part";
  try {
    if (!IsSinglePathElement(fileName))
      throw Exception("Nome de arquivo inválido na lista de atualizações: '" + fileName + "'");
    const std::string url = InstallerUrl(base, editionKey, fileName);
    platform::CreateDirectories(platform::FolderOf(localPath));

    // First, so that an installer nobody signed is not even fetched.
    const std::string signature = FetchSignature(url + ".minisig");
    AsRefusal([&] { ParseInstallerSignature(signature); });
    if (!CompletePart(app, url, partPath, fileName, progress)) return;
    AsRefusal([&] { VerifyInstallerFile(partPath, signature, publicKey); });
    // The signature lands first: an installer in the cache always has its own.
    platform::WriteFileBytes(SignaturePathFor(localPath), signature);
    // A ".part" kept from an earlier start has whatever permissions it was
    // given then; the installer must start like one downloaded whole now.
    platform::MakeExecutable(partPath);
    platform::RenameFile(partPath, localPath);
  } catch (const VerificationFailure& refusal) {
    try {
      platform::RemoveFile(partPath);
    } catch (const Exception&) {
      // Checked again before it could ever be run; the refusal is the news.
    }
    app.ShowMessage("O instalador " + fileName + " foi recusado na verificação da assinatura: " +
                    refusal.what() + ". Ele não será executado.");
  } catch (const std::exception& error) {
    app.ShowMessage(error.what());
  }
}

}  // namespace rotalis
