#pragma once
// The download of one installer when the deployment carries the publisher's
// public key: nothing reaches the installer's name unless its signature holds.

#include <string>

#include "ui/Application.h"

namespace rotalis {

// Fetches base + "/download/" + key + "/" + name + ".minisig" (a 200 answer
// only), then the installer into destinationFolder + name + ".part": a ".part"
// left by an earlier start is resumed with a Range request (206 appends, 200
// starts over); any other answer stores nothing. A complete file whose
// signature verifies against `publicKey` is renamed to the installer's name,
// its signature kept beside it as name + ".minisig"; one that does not is
// removed and a message box names the installer and the reason. A transfer
// cut short keeps its ".part" for the next start and shows its error, like any
// other failure; the call itself never raises.
void DownloadVerifiedUpdateFile(ui::Application& app, const std::string& base,
                                const std::string& editionKey, const std::string& fileName,
                                const std::string& destinationFolder, const std::string& publicKey,
                                ui::ProgressForm* progress = nullptr);

}  // namespace rotalis
