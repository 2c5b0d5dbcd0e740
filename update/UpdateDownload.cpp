#include "update/UpdateDownload.h"

#include <exception>

#include "net/HttpTransport.h"
#include "net/RequestUrl.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "platform/OutputFile.h"
#include "platform/Paths.h"
#include "update/DownloadProgress.h"

namespace rotalis {
namespace {

constexpr const char* kInstallerFolderName = "atualizadores_versao";

class FileSink : public net::HttpBodySink {
 public:
  explicit FileSink(platform::OutputFile& file) : file_(file) {}
  void SetLength(std::uint64_t) override {}
  void Add(const char* data, std::size_t size) override { file_.Write(data, size); }

 private:
  platform::OutputFile& file_;
};

}  // namespace

std::string InstallerFolder(const std::string& applicationFolder) {
  return platform::WithTrailingSeparator(
      platform::ResolveIgnoringCase(applicationFolder, kInstallerFolderName));
}

std::string InstallerUrl(const std::string& base, const std::string& editionKey,
                         const std::string& fileName) {
  return base + "/download/" + net::UrlEncode(editionKey) + "/" + net::UrlEncode(fileName);
}

bool IsSinglePathElement(const std::string& name) {
  if (name.find_first_of(std::string("/\\\0", 3)) != std::string::npos) return false;
  if (name == "." || name == "..") return false;
  return name.find_first_not_of(" \t\r\n") != std::string::npos;
}

void DownloadUpdateFile(ui::Application& app, const std::string& base,
                        const std::string& editionKey, const std::string& fileName,
                        const std::string& destinationFolder, ui::ProgressForm* progress) {
  try {
    if (!IsSinglePathElement(fileName))
      throw Exception("Nome de arquivo inválido na lista de atualizações: '" + fileName + "'");
    net::HttpRequest request;
    request.url = InstallerUrl(base, editionKey, fileName);
    request.acceptEncoding = "gzip, deflate";
    DownloadProgress throttle(app, progress);
    request.onProgress = [&throttle](std::uint64_t received, std::uint64_t total) {
      return throttle(received, total);
    };

    const std::string localPath = platform::JoinPath(destinationFolder, fileName);
    platform::CreateDirectories(platform::FolderOf(localPath));
    auto client = net::HttpTransport::Create();
    // The cache holds programs that the driver starts next.
    platform::OutputFile file(localPath, /*executable=*/true);
    FileSink sink(file);
    client->Send(request, &sink);
    file.Flush();
  } catch (const std::exception& error) {
    app.ShowMessage(error.what());
  }
}

}  // namespace rotalis
