#include "update/CachedInstallerCheck.h"

#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "update/InstallerVerification.h"

namespace rotalis {
namespace {

// Cache names hold no separator of either kind (IsSinglePathElement).
std::string NameOf(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

}  // namespace

bool CachedInstallerMayRun(ui::Application& app, const Deployment& deployment,
                           const std::string& installerPath) {
  if (deployment.updatePublicKey.empty()) return true;
  std::string reason;
  try {
    const std::string signaturePath = SignaturePathFor(installerPath);
    if (!platform::FileExists(signaturePath)) throw Exception("falta o arquivo de assinatura");
    VerifyInstallerFile(installerPath, platform::ReadFileBytes(signaturePath),
                        deployment.updatePublicKey);
    return true;
  } catch (const Exception& refusal) {
    reason = refusal.what();
  }
  const std::string rejectedPath = installerPath + ".rejected";
  std::string outcome = "Ele foi renomeado para " + NameOf(rejectedPath) +
                        " e será baixado de novo na próxima inicialização.";
  try {
    platform::RenameFile(installerPath, rejectedPath);
  } catch (const Exception& error) {
    outcome = std::string("Não foi possível renomeá-lo: ") + error.what();
  }
  app.ShowMessage("O instalador " + NameOf(installerPath) + " não foi executado: " + reason + ". " +
                  outcome);
  return false;
}

}  // namespace rotalis
