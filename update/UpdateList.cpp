#include "update/UpdateList.h"

#include <exception>

#include "net/JsonText.h"
#include "net/Request.h"
#include "platform/FileSystem.h"
#include "config/Edition.h"
#include "update/UpdateDownload.h"
#include "update/UpdateServer.h"
#include "update/VerifiedDownload.h"

namespace rotalis {

std::string FetchUpdateList(const Deployment& deployment, const std::string& editionKey) {
  try {
    auto response = net::TRequest::New()
                        ->BaseURL(UpdateServerBase(deployment))
                        .Resource("/arquivos/" + editionKey)
                        .Get();
    if (response->StatusCode() == 200 || response->StatusCode() == 201) return response->Content();
  } catch (const std::exception&) {
    // No list means no update; the start-up goes on.
  }
  return "";
}

void DownloadUpdates(ui::Application& app, const Installation& here) {
  try {
    const std::string editionKey = DetectEdition(here.folder);
    const net::Json list = net::ExtractJsonObject(FetchUpdateList(here.deployment, editionKey));
    const int qtd = net::GetValue<int>(list, "qtd");
    if (qtd < 1) return;

    ui::ProgressForm& form = app.CreateProgressForm({"fAguarde", "Atualizando ...", 400, 150, qtd});
    for (int i = 1; i <= qtd; ++i) {
      // The bar shows i of qtd while file i is handled.
      form.SetPosition(form.Position() + 1);
      app.ProcessMessages();

      const std::string name = net::GetValue<std::string>(list, "nome-" + std::to_string(i));
      if (!IsSinglePathElement(name)) continue;
      const std::string folder = InstallerFolder(here.folder);
      if (!platform::DirectoryExists(folder)) platform::CreateDirectories(folder);
      // A cached file, whatever it holds, is never fetched again.
      if (platform::FileExists(platform::ResolveIgnoringCase(folder, name))) continue;

      form.Show();
      if (here.deployment.updatePublicKey.empty())
        DownloadUpdateFile(app, UpdateServerBase(here.deployment), DetectEdition(here.folder), name,
                           folder, &form);
      else
        DownloadVerifiedUpdateFile(app, UpdateServerBase(here.deployment),
                                   DetectEdition(here.folder), name, folder,
                                   here.deployment.updatePublicKey, &form);
    }
    form.Close();
    app.ReleaseComponent(form);
  } catch (const std::exception&) {
    // The server's side of the update never stops the start-up; the form, if
    // any, stays with the application object.
  }
}

}  // namespace rotalis
