#pragma once
// Downloading one installer from the update server into the local cache.

#include <string>

#include "ui/Application.h"

namespace rotalis {

// The cache of downloaded installers inside the application folder: folder +
// "atualizadores_versao", matched ignoring case like every fixed name, with a
// trailing separator.
std::string InstallerFolder(const std::string& applicationFolder);

// True when the name can stand as one file name in the cache: not empty after
// trimming blanks, not "." or "..", and without "/", "\" or NUL. Any other
// name from the server could make the download write outside the cache.
bool IsSinglePathElement(const std::string& name);

// base + "/download/" + key + "/" + name, both path-encoded: where the update
// server keeps one file of an edition.
std::string InstallerUrl(const std::string& base, const std::string& editionKey,
                         const std::string& fileName);

// Downloads InstallerUrl(base, key, name) into
// destinationFolder + name with a client of its own that accepts gzip and
// deflate and stores the decoded bytes, so the file is the installer as the
// server holds it. The status is not examined: an error page is stored as
// well. Any failure is shown in a message box with its own text and the call
// returns normally; a file already created stays, empty or cut short.
// `progress`, when given, follows the bytes received (a few times a second),
// and the application processes its messages meanwhile.
void DownloadUpdateFile(ui::Application& app, const std::string& base,
                        const std::string& editionKey, const std::string& fileName,
                        const std::string& destinationFolder, ui::ProgressForm* progress = nullptr);

}  // namespace rotalis
