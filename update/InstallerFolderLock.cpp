#include "update/InstallerFolderLock.h"

#include <chrono>
#include <exception>

#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/SystemInfo.h"
#include "update/UpdateDownload.h"

namespace rotalis {
namespace {

constexpr std::chrono::milliseconds kSlice(50);
// Starts of one office often meet for a moment at the lock; a form that
// flashed up for that would only alarm. Long enough too for the holder to
// have written its name.
constexpr std::chrono::milliseconds kQuietWait(1000);

// The waiting form, while there is one: it goes with the wait, however that
// ends.
class WaitingForm {
 public:
  explicit WaitingForm(ui::Application& app, const std::string& holder)
      : app_(app),
        form_(app.CreateWaitForm(
            {kWaitFormName, "Atualização em andamento", WaitingText(holder), 0, 0})) {
    form_.Show();
  }
  ~WaitingForm() {
    if (!form_.Closed()) form_.Close();
    app_.ReleaseComponent(form_);
  }
  WaitingForm(const WaitingForm&) = delete;
  WaitingForm& operator=(const WaitingForm&) = delete;

  ui::WaitForm& operator*() { return form_; }
  ui::WaitForm* operator->() { return &form_; }

 private:
  ui::Application& app_;
  ui::WaitForm& form_;
};

}  // namespace

std::string WaitingText(const std::string& holder) {
  const std::string who = holder.empty() ? "em outro computador" : "no computador " + holder;
  return "Aguardando o término da atualização iniciada " + who +
         ".\n\nO sistema continua sozinho quando ela acabar. Para desistir, feche esta janela.";
}

InstallerFolderLock LockInstallerFolder(ui::Application& app,
                                        const std::string& applicationFolder) {
  InstallerFolderLock result;
  try {
    const std::string folder = InstallerFolder(applicationFolder);
    platform::CreateDirectories(folder);
    result.lock =
        std::make_unique<platform::FileLock>(platform::JoinPath(folder, kInstallerLockName));
  } catch (const std::exception&) {
    return result;
  }
  // The windows stay alive while another workstation downloads or installs.
  const auto showFrom = std::chrono::steady_clock::now() + kQuietWait;
  std::unique_ptr<WaitingForm> form;
  while (!result.lock->LockWithin(kSlice)) {
    app.ProcessMessages();
    if (form && (*form)->Closed()) {
      // Never held: the lock file and its note stay the holder's.
      result.lock.reset();
      result.givenUp = true;
      return result;
    }
    if (form) {
      // No name: the holder is letting go (it wipes its name first) or the
      // next one has not named itself yet; the last name shown stays.
      if (const std::string holder = result.lock->ReadNote(); !holder.empty())
        (*form)->SetText(WaitingText(holder));
    } else if (std::chrono::steady_clock::now() >= showFrom) {
      form = std::make_unique<WaitingForm>(app, result.lock->ReadNote());
    }
  }
  form.reset();
  // A name is a courtesy to those who wait: the lock holds without it.
  try {
    result.lock->WriteNote(platform::ComputerName());
  } catch (const std::exception&) {
  }
  return result;
}

}  // namespace rotalis
