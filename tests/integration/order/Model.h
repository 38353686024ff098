#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "integration/order/Story.h"

namespace zuvia::test {

// What a plugin object does, as far as a host sees it, in the fewest words: its states, its listeners, and the calls
// that reach the implementation. Fetches fail, and nothing is ever updated.
class Model {
 public:
  // What differs from one installation to the next.
  struct Installation {
    std::string modulePath;  // of the one version, 2.0.0.45
    std::string appPath;
    std::string hostInformation;
  };

  explicit Model(Installation installation) : installation_(std::move(installation)) {}

  // Registers listeners, and removes all that are registered.
  void invite(Audience audience);
  void dismissAudience();

  void take(Step step);

  // Whether a fetch has been asked for since the updater was made, and not been waited for.
  bool awaitsFetch() const { return awaitsFetch_; }

  // The story so far, which is forgotten.
  Story takeStory() { return std::exchange(story_, {}); }

 private:
  using Listener = std::function<void(const std::string& name, const std::string& data)>;

  void load();
  void sendHostInformation();
  void unload();
  std::string raiseByImplementation(const std::string& name, const std::string& data);

  std::uint64_t add(Listener listener);
  Listener hearer(const std::string& who);
  Listener thrower(const std::string& at);
  void meddle(const std::string& name, const std::string& data);
  void notify(const std::string& name, const std::string& data);

  void tell(const std::string& line) { story_.push_back(line); }
  void log(const std::string& message) { tell("log: " + message); }
  void implementation(const std::string& call) { tell("implementation: " + call); }

  Installation installation_;
  Story story_;

  bool loaded_ = false;
  bool hasMonitor_ = false;
  bool updating_ = false;
  bool awaitsFetch_ = false;
  std::uint64_t implementationListener_ = 0;
  std::uint64_t nextImplementationListener_ = 7;

  std::map<std::uint64_t, Listener> listeners_;
  std::uint64_t nextListener_ = 0;
  std::uint64_t added_ = 0;  // by the meddling one
};

}  // namespace zuvia::test
