#include "integration/faults/MutexFault.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <utility>

namespace zuvia::test {

namespace {

std::string outcome(DWORD waitResult) {
  if (waitResult == WAIT_OBJECT_0) return "";
  return waitResult == WAIT_ABANDONED ? " abandoned" : " in vain";
}

class MutexFault : public ArmedFault {
 public:
  MutexFault(HMODULE plugin, std::wstring name, MutexTrouble trouble, std::vector<std::string> expectedSteps);
  ~MutexFault() override { EXPECT_EQ(steps_, expectedSteps_) << "what is done with the mutex"; }

  bool happened() const override { return happened_; }

 private:
  HANDLE open(decltype(CreateMutexW)* original, SECURITY_ATTRIBUTES* attributes, BOOL owned, const wchar_t* name);
  DWORD wait(decltype(WaitForSingleObject)* original, HANDLE object, DWORD milliseconds);
  BOOL release(decltype(ReleaseMutex)* original, HANDLE object);
  BOOL close(decltype(CloseHandle)* original, HANDLE object);
  bool isMine(HANDLE object) const { return object != nullptr && object == handle_; }
  void add(const std::string& step);

  const std::wstring name_;
  const MutexTrouble trouble_;
  const std::vector<std::string> expectedSteps_;
  std::atomic<std::size_t> uses_ = 0;
  std::atomic<HANDLE> handle_ = nullptr;
  std::atomic<bool> happened_ = false;
  std::mutex mutex_;
  std::vector<std::string> steps_;
  ImportHook<decltype(CreateMutexW)> open_;
  ImportHook<decltype(WaitForSingleObject)> wait_;
  ImportHook<decltype(ReleaseMutex)> release_;
  ImportHook<decltype(CloseHandle)> close_;
};

MutexFault::MutexFault(HMODULE plugin, std::wstring name, MutexTrouble trouble, std::vector<std::string> expectedSteps)
    : name_(std::move(name)),
      trouble_(std::move(trouble)),
      expectedSteps_(std::move(expectedSteps)),
      open_(plugin, "CreateMutexW", [this](auto* original, auto... all) { return open(original, all...); }),
      wait_(plugin, "WaitForSingleObject", [this](auto* original, auto... all) { return wait(original, all...); }),
      release_(plugin, "ReleaseMutex", [this](auto* original, auto... all) { return release(original, all...); }),
      close_(plugin, "CloseHandle", [this](auto* original, auto... all) { return close(original, all...); }) {}

HANDLE MutexFault::open(decltype(CreateMutexW)* original, SECURITY_ATTRIBUTES* attributes, BOOL owned,
                        const wchar_t* name) {
  if (name == nullptr || name_ != name || ++uses_ != trouble_.use) return original(attributes, owned, name);
  add(owned ? "open owned" : "open");
  if (!trouble_.creationError) return handle_ = original(attributes, owned, name);
  happened_ = true;
  SetLastError(*trouble_.creationError);
  return nullptr;
}

DWORD MutexFault::wait(decltype(WaitForSingleObject)* original, HANDLE object, DWORD milliseconds) {
  if (!isMine(object)) return original(object, milliseconds);
  happened_ = true;
  trouble_.beforeWait();
  const DWORD result = trouble_.waitResult ? *trouble_.waitResult : original(object, milliseconds);
  add("wait " + std::to_string(milliseconds) + outcome(result));
  trouble_.afterWait();
  if (trouble_.waitResult) SetLastError(trouble_.waitError);
  return result;
}

BOOL MutexFault::release(decltype(ReleaseMutex)* original, HANDLE object) {
  if (isMine(object)) add("release");
  return original(object);
}

BOOL MutexFault::close(decltype(CloseHandle)* original, HANDLE object) {
  if (isMine(object)) {
    add("close");
    handle_ = nullptr;
  }
  return original(object);
}

void MutexFault::add(const std::string& step) {
  const std::lock_guard lock(mutex_);
  steps_.push_back(step);
}

}  // namespace

Fault onMutex(const std::wstring& name, const MutexTrouble& trouble, const std::vector<std::string>& steps) {
  return [=](HMODULE plugin) { return std::make_unique<MutexFault>(plugin, name, trouble, steps); };
}

Fault withoutTransfer(std::size_t use) {
  const auto holder = std::make_shared<std::atomic<DWORD>>(0);
  const auto isTransfer = [holder](std::size_t count, std::size_t size) {
    constexpr std::size_t kLeast = 2048;  // before it come the few bytes that a new thread needs
    return *holder == GetCurrentThreadId() && count == 1 && size >= kLeast;
  };
  return both(onMutex(kCurlMutex, {.use = use, .afterWait = [holder] { *holder = GetCurrentThreadId(); }},
                      {"open", "wait 60000", "release", "close"}),
              failing<decltype(calloc)>("calloc", nullptr, {.errnoValue = ENOMEM}, isTransfer));
}

}  // namespace zuvia::test
