#include "launcher/PackageBridge.h"

#include <cstddef>
#include <string>

#include "platform/Exception.h"
#include "platform/StackTrace.h"

namespace rotalis {

namespace {

std::string TextOrEmpty(const char* text) { return text ? std::string(text) : std::string(); }

// A package built against an older contract passes a smaller spec; members it
// does not know about keep their defaults.
ui::FormSpec ReadFormSpec(const RotalisFormSpec* spec) {
  if (spec == nullptr || spec->size < offsetof(RotalisFormSpec, name) + sizeof(spec->name) ||
      spec->name == nullptr || *spec->name == '\0')
    throw Exception("The module package asked for a form without a name");
  ui::FormSpec form;
  form.name = spec->name;
  const auto has = [spec](std::size_t end) { return spec->size >= end; };
  if (has(offsetof(RotalisFormSpec, caption) + sizeof(spec->caption)))
    form.caption = TextOrEmpty(spec->caption);
  if (has(offsetof(RotalisFormSpec, text) + sizeof(spec->text)))
    form.text = TextOrEmpty(spec->text);
  if (has(offsetof(RotalisFormSpec, height) + sizeof(spec->height))) {
    form.width = spec->width;
    form.height = spec->height;
  }
  return form;
}

}  // namespace

PackageBridge::PackageBridge(ui::Application& app) : app_(app), table_{} {
  table_.size = sizeof(RotalisApplication);
  table_.contract_version = ROTALIS_MODULE_CONTRACT_VERSION;
  table_.host = this;
  table_.create_form = &PackageBridge::CreateForm;
  table_.show_message = &PackageBridge::ShowMessage;
  table_.fail = &PackageBridge::Fail;
  table_.post_event = &PackageBridge::PostEvent;
}

PackageBridge& PackageBridge::Of(RotalisApplication* application) {
  return *static_cast<PackageBridge*>(application->host);
}

void PackageBridge::Keep(std::exception_ptr failure) {
  if (mainFormReturned_) {
    // Called from an event handler of the package: the loop raises it next,
    // where the crash reporter takes every error of an event handler.
    app_.Post([failure] { std::rethrow_exception(failure); });
    return;
  }
  if (!failure_) failure_ = std::move(failure);
}

void PackageBridge::MainFormReturned() {
  mainFormReturned_ = true;
  if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

RotalisForm* PackageBridge::CreateForm(RotalisApplication* application,
                                       const RotalisFormSpec* spec) {
  PackageBridge& bridge = Of(application);
  try {
    ui::Form& form = bridge.app_.CreateForm(ReadFormSpec(spec));
    return reinterpret_cast<RotalisForm*>(&form);
  } catch (...) {
    bridge.Keep(std::current_exception());
    return nullptr;
  }
}

void PackageBridge::ShowMessage(RotalisApplication* application, const char* text) {
  PackageBridge& bridge = Of(application);
  try {
    bridge.app_.ShowMessage(TextOrEmpty(text));
  } catch (...) {
    bridge.Keep(std::current_exception());
  }
}

void PackageBridge::Fail(RotalisApplication* application, const char* message) {
  PackageBridge& bridge = Of(application);
  const std::string text = TextOrEmpty(message);
  // The error is raised later, by the message loop or after MainForm: it
  // carries the stack of this call, so that its report names the package's
  // function that failed, and two failures from two places are two reports.
  bridge.Keep(std::make_exception_ptr(
      PackageFailure(text.empty() ? "The module package failed without saying why" : text,
                     platform::CaptureStack())));
}

void PackageBridge::PostEvent(RotalisApplication* application, RotalisEventHandler handler,
                              void* context) {
  PackageBridge& bridge = Of(application);
  try {
    if (handler == nullptr) throw Exception("The module package posted an event without a handler");
    bridge.app_.Post([handler, context] { handler(context); });
  } catch (...) {
    bridge.Keep(std::current_exception());
  }
}

}  // namespace rotalis
