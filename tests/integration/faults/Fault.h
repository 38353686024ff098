#pragma once

#include <windows.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "support/ImportHook.h"

// Calls of Windows that fail, as values: a table of faults names what fails and how, and the test decides when.

namespace zuvia::test {

// A fault at work, for as long as it lives.
class ArmedFault {
 public:
  virtual ~ArmedFault() = default;

  // Whether it has happened as it was meant. A fault that never happens shows nothing.
  virtual bool happened() const = 0;
};

// Puts a fault to work in the plugin.
using Fault = std::function<std::unique_ptr<ArmedFault>(HMODULE plugin)>;

// An error code that a signed number of 32 bits cannot hold. It must read 2147483653.
inline constexpr DWORD kGreatError = 0x80000005;

// ---- Making faults

namespace faults {

template <typename Function>
class FailingCall;

template <typename Result, typename... Args>
class FailingCall<Result(Args...)> : public ArmedFault {
 public:
  using Import = FailingImport<Result(Args...)>;
  using Answer = Result;

  FailingCall(HMODULE plugin, const std::string& name, Result result, const Failure& failure,
              const typename Import::Matcher& matcher)
      : import_(plugin, name, result, failure, matcher) {}

  bool happened() const override { return import_.failures() > 0; }

 private:
  Import import_;
};

template <typename Function>
class ReplacedCall : public ArmedFault {
 public:
  using Replacement = typename Thunk<Function>::Callable;
  using Maker = std::function<Replacement(std::atomic<bool>& happened)>;

  ReplacedCall(HMODULE plugin, const std::string& name, const Maker& make) : hook_(plugin, name, make(happened_)) {}

  bool happened() const override { return happened_; }

 private:
  std::atomic<bool> happened_ = false;
  ImportHook<Function> hook_;
};

class NoFault : public ArmedFault {
 public:
  bool happened() const override { return true; }
};

class BothFaults : public ArmedFault {
 public:
  BothFaults(std::unique_ptr<ArmedFault> first, std::unique_ptr<ArmedFault> second)
      : first_(std::move(first)), second_(std::move(second)) {}

  bool happened() const override { return first_->happened() && second_->happened(); }

 private:
  std::unique_ptr<ArmedFault> first_;
  std::unique_ptr<ArmedFault> second_;
};

}  // namespace faults

// A function fails in the calls that are meant, the first one when nothing else is said, without doing anything: see
// FailingImport.
//
//   failing<decltype(AddDllDirectory)>("AddDllDirectory", nullptr)
template <typename Function>
Fault failing(const std::string& name, typename faults::FailingCall<Function>::Answer result,
              const Failure& failure = {.lastError = kGreatError},
              typename FailingImport<Function>::Matcher matcher = {}) {
  return [=](HMODULE plugin) {
    return std::make_unique<faults::FailingCall<Function>>(plugin, name, result, failure, matcher);
  };
}

// The same, for one path: functions of which the first argument is one.
template <typename Function>
Fault failingFor(const std::wstring& path, const std::string& name,
                 typename faults::FailingCall<Function>::Answer result,
                 const Failure& failure = {.lastError = kGreatError}) {
  return failing<Function>(name, result, failure, [path](const wchar_t* argument, auto...) {
    return argument != nullptr && path == argument;
  });
}

// A function is replaced by what `make` gives, which sets the flag once the fault has happened.
template <typename Function>
Fault replacing(const std::string& name, typename faults::ReplacedCall<Function>::Maker make) {
  return [=](HMODULE plugin) { return std::make_unique<faults::ReplacedCall<Function>>(plugin, name, make); };
}

// GetFileAttributesW tells these attributes of one path, in one call, counted from 1 among those about this path.
inline Fault answeringAttributes(const std::wstring& path, std::size_t number, DWORD attributes) {
  return failingFor<decltype(GetFileAttributesW)>(path, "GetFileAttributesW", attributes,
                                                  {.lastError = kGreatError, .fromCall = number});
}

// A function does its work each time, and says each time that it failed.
template <typename Function>
Fault failingAfterwards(const std::string& name, typename faults::FailingCall<Function>::Answer result) {
  return replacing<Function>(name, [result](std::atomic<bool>& happened) {
    return [result, &happened](auto* original, auto... all) {
      original(all...);
      happened = true;
      SetLastError(kGreatError);
      return result;
    };
  });
}

// No fault.
inline std::unique_ptr<ArmedFault> nothing(HMODULE) {
  return std::make_unique<faults::NoFault>();
}

// Two faults that belong together.
inline Fault both(const Fault& first, const Fault& second) {
  return [=](HMODULE plugin) { return std::make_unique<faults::BothFaults>(first(plugin), second(plugin)); };
}

}  // namespace zuvia::test
