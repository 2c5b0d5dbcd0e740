#include "config/Edition.h"

#include "platform/FileSystem.h"

namespace rotalis {
namespace {

struct EditionRow {
  const char* executable;
  const char* key;
};

constexpr EditionRow kEditions[] = {
    {"KelvaERP.exe", "kelva"},
    {"DorimERP.exe", "dorim"},
    {"SavenERP.exe", "saven"},
    {"TolmaERP.exe", "tolma"},
};

}  // namespace

std::string DetectEdition(const std::string& folder) {
  for (const auto& row : kEditions)
    if (platform::FileExists(platform::ResolveIgnoringCase(folder, row.executable))) return row.key;
  return {};
}

}  // namespace rotalis
