#pragma once
// The list of installers the update server holds for an edition, and the
// download phase that brings the missing ones into the local cache.

#include <string>

#include "config/Installation.h"
#include "ui/Application.h"

namespace rotalis {

// GET UpdateServerBase + "/arquivos/" + edition key through the request
// builder: the body for a 200 or 201, else the empty text. Never raises.
std::string FetchUpdateList(const Deployment& deployment, const std::string& editionKey);

// The whole download phase: the list is read ("qtd", then "nome-1" ...
// "nome-<qtd>"), and every listed file that is not in the cache yet is
// downloaded, with the progress form "fAguarde" shown only while there is
// something to download. Names that are empty or not a single file name are
// skipped. Nothing leaves this function: an unusable list, a missing "qtd" or
// "nome-<i>" ends the phase silently (the form then stays as it is), and a
// failed download shows its message and the next file is tried.
void DownloadUpdates(ui::Application& app, const Installation& here);

}  // namespace rotalis
