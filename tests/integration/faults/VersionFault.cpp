#include "integration/faults/VersionFault.h"

namespace zuvia::test {

namespace {

class FixedInfoFault : public ArmedFault {
 public:
  FixedInfoFault(HMODULE plugin, const std::wstring& path, const FixedInfoAnswer& answer)
      : read_(plugin, "GetFileVersionInfoW",
              [this, path](auto* original, const wchar_t* file, DWORD ignored, DWORD size, void* buffer) -> BOOL {
                if (path == file) block_ = buffer;
                return original(file, ignored, size, buffer);
              }),
        query_(
            plugin, "VerQueryValueW",
            [this, answer](auto* original, const void* block, const wchar_t* name, void** info, UINT* length) -> BOOL {
              const BOOL result = original(block, name, info, length);
              if (block != block_) return result;
              happened_ = true;
              if (!answer.hasInfo) *info = nullptr;
              *length = answer.length;
              SetLastError(answer.lastError);
              return answer.result;
            }) {}

  bool happened() const override { return happened_; }

 private:
  std::atomic<const void*> block_ = nullptr;  // where the resource of the file is
  std::atomic<bool> happened_ = false;
  ImportHook<decltype(GetFileVersionInfoW)> read_;
  ImportHook<decltype(VerQueryValueW)> query_;
};

}  // namespace

Fault answeringFixedInfo(const std::wstring& path, const FixedInfoAnswer& answer) {
  return [=](HMODULE plugin) { return std::make_unique<FixedInfoFault>(plugin, path, answer); };
}

}  // namespace zuvia::test
