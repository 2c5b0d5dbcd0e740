#include "crash/ExceptionInfo.h"

#include <cxxabi.h>

#include <deque>
#include <typeinfo>

#include "platform/Symbolizer.h"

namespace rotalis::crash {
namespace {

// The C++ ABI records each class's direct bases in its type_info.
std::vector<std::string> ClassChainOf(const std::type_info& type) {
  std::vector<std::string> chain;
  std::deque<const std::type_info*> pending{&type};
  while (!pending.empty()) {
    const std::type_info* current = pending.front();
    pending.pop_front();
    chain.push_back(platform::DemangledName(current->name()));
    if (const auto* single = dynamic_cast<const abi::__si_class_type_info*>(current)) {
      pending.push_back(single->__base_type);
    } else if (const auto* multiple = dynamic_cast<const abi::__vmi_class_type_info*>(current)) {
      for (unsigned i = 0; i < multiple->__base_count; ++i) {
        pending.push_back(multiple->__base_info[i].__base_type);
      }
    }
  }
  return chain;
}

}  // namespace

ExceptionInfo DescribeException(const std::exception_ptr& error) {
  ExceptionInfo info;
  if (!error) return info;
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    info.message = e.what();
    const std::type_info* type = abi::__cxa_current_exception_type();
    info.classChain = ClassChainOf(type != nullptr ? *type : typeid(e));
  } catch (...) {
    if (const std::type_info* type = abi::__cxa_current_exception_type()) {
      info.classChain = ClassChainOf(*type);
    }
  }
  info.className = info.classChain.empty() ? "unknown exception" : info.classChain.front();
  return info;
}

bool ClassMatches(const std::vector<std::string>& classChain, const std::string& filterClass) {
  for (const std::string& name : classChain) {
    if (name == filterClass) return true;
    if (name.size() > filterClass.size() + 2 &&
        name.compare(name.size() - filterClass.size(), filterClass.size(), filterClass) == 0 &&
        name.compare(name.size() - filterClass.size() - 2, 2, "::") == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace rotalis::crash
