#include "Arrivals.h"

#include <algorithm>
#include <utility>

#include "Pattern.h"

namespace zuhost {

void Arrivals::add(std::string text) {
  const std::lock_guard lock(mutex_);
  if (texts_.size() == kMost) texts_.pop_front();
  texts_.push_back(std::move(text));
  ++added_;
  arrival_.notify_all();
}

void Arrivals::clear() {
  const std::lock_guard lock(mutex_);
  texts_.clear();
}

std::optional<std::string> Arrivals::find(std::string_view pattern, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  const auto found = waitFor(lock, pattern, timeout);
  if (found == texts_.end()) return std::nullopt;
  return *found;
}

std::optional<std::string> Arrivals::take(std::string_view pattern, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  const auto found = waitFor(lock, pattern, timeout);
  if (found == texts_.end()) return std::nullopt;
  std::string text = std::move(*found);
  texts_.erase(found);
  return text;
}

std::string Arrivals::summary() const {
  constexpr size_t kShown = 10;
  const std::lock_guard lock(mutex_);
  if (texts_.empty()) return "none";
  std::string text = std::to_string(texts_.size());
  if (texts_.size() > kShown) text += ", the last of them";
  for (size_t i = texts_.size() - std::min(texts_.size(), kShown); i < texts_.size(); ++i) {
    text += (text.back() == '"' ? ", \"" : ": \"") + texts_[i] + '"';
  }
  return text;
}

Arrivals::Position Arrivals::waitFor(std::unique_lock<std::mutex>& lock, std::string_view pattern,
                                     std::chrono::milliseconds timeout) {
  Position found;
  uint64_t examined = added_ - texts_.size();  // none of those that are there; each is compared once
  arrival_.wait_for(lock, timeout, [&] {
    const auto fresh = static_cast<std::ptrdiff_t>(std::min<uint64_t>(added_ - examined, texts_.size()));
    examined = added_;
    found = std::find_if(texts_.end() - fresh, texts_.end(),
                         [&](const std::string& text) { return matches(pattern, text); });
    return found != texts_.end();
  });
  return found;
}

}  // namespace zuhost
