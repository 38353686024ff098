#include "integration/order/Model.h"

#include <stdexcept>
#include <utility>

namespace zuvia::test {
namespace {

const std::string kLoading = "pluginLoadedEvent";
const std::string kLoaded = "pluginLoadedDoneEvent";

struct Thrown {
  std::string what;
};

}  // namespace

// ---- The plugin

void Model::take(Step step) {
  switch (step) {
    case Step::Load:
      try {
        load();
      } catch (const Thrown& thrown) {
        tell("threw " + thrown.what);
      }
      break;
    case Step::HostInformation:
      sendHostInformation();
      tell("answer 0");
      break;
    case Step::Wait:
      tell(awaitsFetch_ ? "fetched once" : "nothing to wait for");
      awaitsFetch_ = false;
      break;
    case Step::Unload:
      unload();
      break;
    case Step::Raise:
      tell("answer " + raiseByImplementation("outer", "1"));
      break;
  }
  tell(loaded_ ? "loaded, 1, 2.0.0.45" : "not loaded, 2, ");
}

void Model::load() {
  log(std::string("onLoaded native v: 2.0.0.45, isLoad: ") + (loaded_ ? "true" : "false") + ", path: C:\\host");
  if (loaded_) return;
  notify(kLoading, "");
  log("Load plugin success, path: " + installation_.modulePath + ", version: 2.0.0.45");
  loaded_ = true;
  notify(kLoaded, "2.0.0.45");
  implementation("onLoaded \"C:\\host\"");
  implementation("queryInterface IID_IWxMonitor");
  hasMonitor_ = true;
  implementationListener_ = nextImplementationListener_++;
  implementation("addListener " + std::to_string(implementationListener_));
}

void Model::sendHostInformation() {
  if (!loaded_) {
    log("setHostInfo with invalid params loaded: false");
    return;
  }
  log("setHostInfo uid: 4711, ver: 9.1.2, env: true");
  log("setHostInfo path: " + installation_.appPath);
  if (!updating_) awaitsFetch_ = true;
  updating_ = true;
  if (hasMonitor_) implementation("sendCommand \"setHostInfo\" \"" + installation_.hostInformation + '"');
}

void Model::unload() {
  log("onUnload");
  updating_ = false;
  awaitsFetch_ = false;
  if (hasMonitor_) implementation("removeListener " + std::to_string(implementationListener_));
  if (loaded_) {
    implementation("onUnload");
    tell("implementation freed");
  }
  hasMonitor_ = false;
  loaded_ = false;
}

// The module that the tests are made with: it hands what a listener throws back to whoever asked it to raise the event.
std::string Model::raiseByImplementation(const std::string& name, const std::string& data) {
  if (!hasMonitor_) return "";
  implementation("sendCommand \"emit\" \"" + name + ' ' + data + '"');
  try {
    notify(name, data);
    return "raised";
  } catch (const Thrown& thrown) {
    implementation("listener threw " + thrown.what);
    return "threw";
  }
}

// ---- Its listeners

void Model::notify(const std::string& name, const std::string& data) {
  const std::map<std::uint64_t, Listener> listeners = listeners_;
  for (const auto& [id, listener] : listeners) {
    if (!listener) throw Thrown{"bad_function_call"};
    listener(name, data);
    log("onNotifyEvent cmd: " + name + ", data: " + data);
  }
}

std::uint64_t Model::add(Listener listener) {
  listeners_[++nextListener_] = std::move(listener);
  return nextListener_;
}

Model::Listener Model::hearer(const std::string& who) {
  return [this, who](const std::string& name, const std::string& data) { tell(who + " hears " + name + '=' + data); };
}

Model::Listener Model::thrower(const std::string& at) {
  return [at](const std::string& name, const std::string&) {
    if (name == at) throw Thrown{"enough"};
  };
}

void Model::meddle(const std::string& name, const std::string& data) {
  tell("meddler hears " + name + '=' + data);
  if (name == "inner") return;
  listeners_.erase(added_);
  added_ = add(hearer("added"));
  if (name == "outer") raiseByImplementation("inner", "2");
}

void Model::dismissAudience() {
  listeners_.clear();
  added_ = 0;
}

void Model::invite(Audience audience) {
  switch (audience) {
    case Audience::None:
      return;
    case Audience::Recording:
      add(hearer("first"));
      return;
    case Audience::Meddling:
      add([this](const std::string& name, const std::string& data) { meddle(name, data); });
      return;
    case Audience::AddsEmpty:
      add([this](const std::string& name, const std::string&) {
        if (name == kLoaded) add(nullptr);
      });
      return;
    case Audience::ThrowsAtLoading:
    case Audience::ThrowsAtLoaded:
    case Audience::ThrowsAtRaised:
    case Audience::Empty:
      break;
  }
  add(hearer("first"));
  if (audience == Audience::ThrowsAtLoading) add(thrower(kLoading));
  if (audience == Audience::ThrowsAtLoaded) add(thrower(kLoaded));
  if (audience == Audience::ThrowsAtRaised) add(thrower("outer"));
  if (audience == Audience::Empty) add(nullptr);
  add(hearer("third"));
}

}  // namespace zuvia::test
