#include "launcher/ModuleHost.h"

#include <cstdint>

#include "launcher/PackageBridge.h"
#include "launcher/SearchPath.h"
#include "platform/DynamicLibrary.h"
#include "platform/Environment.h"
#include "platform/Exception.h"
#include "platform/FileSystem.h"
#include "rotalis/module_package.h"

namespace rotalis {

namespace {

// The Windows loader's order made explicit: the application folder, then the
// PATH folders. The system folders and the working directory are left out on
// purpose: the package belongs to the installation, nowhere else.
std::string FindPackage(const std::vector<std::string>& folders) {
  for (const auto& folder : folders) {
    const std::string candidate = platform::ResolveIgnoringCase(folder, kModulePackageFile);
    if (platform::FileExists(candidate)) return candidate;
  }
  std::string searched;
  for (const auto& folder : folders) searched += "\n  " + folder;
  throw Exception(std::string("Cannot load the module package ") + kModulePackageFile +
                  ": it is in none of the folders searched:" + searched);
}

void CheckContract(const platform::LoadedLibrary& package) {
  const auto* declared =
      static_cast<const std::uint32_t*>(package.Export(ROTALIS_MODULE_CONTRACT_EXPORT));
  if (declared == nullptr)
    throw Exception("The module package " + package.Path() +
                    " does not declare the module contract it was built for");
  if (*declared == 0 || *declared > ROTALIS_MODULE_CONTRACT_VERSION)
    throw Exception("The module package " + package.Path() + " needs module contract " +
                    std::to_string(*declared) + "; this launcher provides contract " +
                    std::to_string(ROTALIS_MODULE_CONTRACT_VERSION));
}

}  // namespace

std::unique_ptr<PackageBridge> LoadModulePackage(ui::Application& app,
                                                 const std::string& applicationFolder) {
  // The package and its own needs are looked for in the same folders, in order.
  const auto folders =
      PackageSearchFolders(applicationFolder, platform::GetEnvironment("PATH").value_or(""));
  const auto package = platform::LoadedLibrary::LoadForProcess(FindPackage(folders), folders);
  void* routine = package.Export(ROTALIS_MODULE_MAIN_FORM_EXPORT);
  if (routine == nullptr) return nullptr;
  CheckContract(package);
  auto bridge = std::make_unique<PackageBridge>(app);
  reinterpret_cast<RotalisMainFormRoutine>(routine)(bridge->Table());
  bridge->MainFormReturned();
  return bridge;
}

}  // namespace rotalis
