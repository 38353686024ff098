#include "zupack/ProductLog.h"

#include <utility>

#include <hxbase/LogControl.h>

#include "shared/Utf8.h"

namespace zuvia::zupack {

ProductLog::ProductLog() {
  const auto sink = [](void* context, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t* message,
                       const char*) { static_cast<ProductLog*>(context)->add(message); };
  HxSetLogSink(sink, this);
}

ProductLog::~ProductLog() {
  HxSetLogSink(nullptr, nullptr);
}

std::optional<std::string> ProductLog::takeFirst() {
  const std::lock_guard lock(mutex_);
  return std::exchange(first_, std::nullopt);
}

void ProductLog::add(const wchar_t* message) {
  const std::lock_guard lock(mutex_);
  if (!first_) first_ = tools::toUtf8(std::wstring_view(message));
}

}  // namespace zuvia::zupack
