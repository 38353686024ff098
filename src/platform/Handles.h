#pragma once

#include <utility>

#include "platform/Windows.h"

#include <wincrypt.h>

namespace zuvia {

// Owns one handle of the system and closes it. Traits name the handle's type, its empty value and
// the call that closes it. Closing keeps the calling thread's last error code.
template <typename Traits>
class UniqueHandle {
 public:
  using Value = typename Traits::Value;

  UniqueHandle() = default;
  explicit UniqueHandle(Value value) : value_(value) {}
  UniqueHandle(UniqueHandle&& other) noexcept : value_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) {
      reset(other.release());
    }
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { reset(); }

  explicit operator bool() const { return value_ != Traits::empty(); }
  Value get() const { return value_; }

  // Gives the handle up; the caller owns it.
  Value release() { return std::exchange(value_, Traits::empty()); }

  // Closes the held handle, if any, and owns `value` from now on.
  void reset(Value value = Traits::empty()) {
    const Value old = std::exchange(value_, value);
    if (old != Traits::empty()) {
      const DWORD error = GetLastError();
      Traits::close(old);
      SetLastError(error);
    }
  }

  // For calls that hand a new handle out through a pointer: closes the held one first.
  Value* out() {
    reset();
    return &value_;
  }

 private:
  Value value_ = Traits::empty();
};

struct FileHandleTraits {
  using Value = HANDLE;
  static Value empty() { return INVALID_HANDLE_VALUE; }
  static void close(Value value) { CloseHandle(value); }
};

struct FindHandleTraits {
  using Value = HANDLE;
  static Value empty() { return INVALID_HANDLE_VALUE; }
  static void close(Value value) { FindClose(value); }
};

struct MutexHandleTraits {
  using Value = HANDLE;
  static Value empty() { return nullptr; }
  static void close(Value value) { CloseHandle(value); }
};

struct ModuleHandleTraits {
  using Value = HMODULE;
  static Value empty() { return nullptr; }
  static void close(Value value) { FreeLibrary(value); }
};

struct DllDirectoryTraits {
  using Value = DLL_DIRECTORY_COOKIE;
  static Value empty() { return nullptr; }
  static void close(Value value) { RemoveDllDirectory(value); }
};

struct CryptProviderTraits {
  using Value = HCRYPTPROV;
  static Value empty() { return 0; }
  static void close(Value value) { CryptReleaseContext(value, 0); }
};

struct CryptHashTraits {
  using Value = HCRYPTHASH;
  static Value empty() { return 0; }
  static void close(Value value) { CryptDestroyHash(value); }
};

struct ThreadpoolWorkTraits {
  using Value = PTP_WORK;
  static Value empty() { return nullptr; }
  static void close(Value value) { CloseThreadpoolWork(value); }
};

using FileHandle = UniqueHandle<FileHandleTraits>;
using FindHandle = UniqueHandle<FindHandleTraits>;
using MutexHandle = UniqueHandle<MutexHandleTraits>;
using ModuleHandle = UniqueHandle<ModuleHandleTraits>;
using DllDirectory = UniqueHandle<DllDirectoryTraits>;
using ThreadpoolWork = UniqueHandle<ThreadpoolWorkTraits>;
using CryptProvider = UniqueHandle<CryptProviderTraits>;
using CryptHash = UniqueHandle<CryptHashTraits>;

}  // namespace zuvia
