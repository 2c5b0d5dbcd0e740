#include "tests/support/RecordingApplication.h"

#include <algorithm>

namespace rotalis::test {

ui::ProgressForm& RecordingApplication::CreateProgressForm(const ui::ProgressFormSpec& spec) {
  progressForms.push_back(std::make_unique<RecordingProgressForm>(spec));
  return *progressForms.back();
}

ui::WaitForm& RecordingApplication::CreateWaitForm(const ui::FormSpec& spec) {
  waitForms.push_back(std::make_unique<RecordingWaitForm>(spec));
  return *waitForms.back();
}

void RecordingApplication::ReleaseComponent(ui::Component& component) {
  released.push_back(&component);
}

ui::Component* RecordingApplication::FindComponent(std::string_view name) {
  const auto owned = [&](const ui::Component& form) {
    return form.Name() == name &&
           std::find(released.begin(), released.end(), &form) == released.end();
  };
  for (const auto& form : progressForms)
    if (owned(*form)) return form.get();
  for (const auto& form : waitForms)
    if (owned(*form)) return form.get();
  return nullptr;
}

}  // namespace rotalis::test
