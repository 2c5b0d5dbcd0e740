#include "platform/TextCollation.h"

#include <locale.h>
#include <wchar.h>
#include <wctype.h>

#include <memory>
#include <string>

#include "platform/TextEncoding.h"

namespace rotalis::platform {
namespace {

struct LocaleFreer {
  void operator()(locale_t locale) const { freelocale(locale); }
};
using ScopedLocale = std::unique_ptr<std::remove_pointer_t<locale_t>, LocaleFreer>;

// The user's locale as the environment names it now; the process's own
// locale (setlocale) is left alone, since number formats depend on it.
ScopedLocale UserLocale() {
  const int categories = LC_COLLATE_MASK | LC_CTYPE_MASK;
  if (locale_t user = newlocale(categories, "", nullptr)) return ScopedLocale(user);
  return ScopedLocale(newlocale(categories, "C.UTF-8", nullptr));
}

// The text as wide characters (file names are UTF-8 whatever the locale's
// own encoding), folded to lower case by the locale's rules.
std::wstring Folded(std::string_view text, locale_t locale) {
  std::wstring wide;
  for (char32_t c : CodePointsOf(text))
    wide += static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), locale));
  return wide;
}

}  // namespace

int CompareTextIgnoringCase(std::string_view a, std::string_view b) {
  const ScopedLocale locale = UserLocale();
  if (!locale) return std::string(a).compare(std::string(b));
  return wcscoll_l(Folded(a, locale.get()).c_str(), Folded(b, locale.get()).c_str(), locale.get());
}

}  // namespace rotalis::platform
