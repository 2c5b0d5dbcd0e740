#include "tests/support/RecordingApplication.h"

#include <algorithm>

namespace rotalis::test {

ui::ProgressForm& RecordingApplication::CreateProgressForm(const ui::ProgressFormSpec& spec) {
  progressForms.push_back(std::make_unique<RecordingProgressForm>(spec));
  return *progressForms.back();
}

void RecordingApplication::ReleaseComponent(ui::Component& component) {
  released.push_back(&component);
}

ui::Component* RecordingApplication::FindComponent(std::string_view name) {
  for (const auto& form : progressForms) {
    const bool gone = std::find(released.begin(), released.end(), form.get()) != released.end();
    if (!gone && form->Name() == name) return form.get();
  }
  return nullptr;
}

}  // namespace rotalis::test
