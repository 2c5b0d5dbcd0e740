#pragma once
// The components an application object owns directly, in creation order: it
// finds them by their exact name and destroys them when released or when it
// goes itself.

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "ui/Application.h"

namespace rotalis::ui {

class OwnedComponents {
 public:
  template <class T>
  T& Add(std::unique_ptr<T> component) {
    T& added = *component;
    items_.push_back(std::move(component));
    return added;
  }

  // Destroys the component; false (and nothing done) when it is not owned here.
  bool Release(Component& component) {
    const auto owned = std::find_if(items_.begin(), items_.end(),
                                    [&](const auto& item) { return item.get() == &component; });
    if (owned == items_.end()) return false;
    items_.erase(owned);
    return true;
  }

  // The first component of exactly that name, or nullptr.
  Component* Find(std::string_view name) const {
    for (const auto& item : items_)
      if (item->Name() == name) return item.get();
    return nullptr;
  }

  void Clear() { items_.clear(); }

 private:
  std::vector<std::unique_ptr<Component>> items_;
};

}  // namespace rotalis::ui
