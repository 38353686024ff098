#include "ProductMessages.h"

#include <utility>

#include "Text.h"

namespace zuhost {
namespace {

thread_local ProductMessages* catching = nullptr;

}  // namespace

ProductMessages::ProductMessages() {
  catching = this;
}

ProductMessages::~ProductMessages() {
  catching = nullptr;
}

std::vector<std::string> ProductMessages::take() {
  return std::exchange(messages_, {});
}

bool ProductMessages::caught(const wchar_t* message) {
  if (catching == nullptr) return false;
  catching->messages_.push_back(utf8Of(message));
  return true;
}

}  // namespace zuhost
