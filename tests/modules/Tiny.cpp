// The smallest module that a host can work with: an object with an entry point and no monitor. It needs no library at
// all, so that reading, writing, hashing and loading it takes the fewest calls.

#include <zuvia/Exports.h>

#include <cstddef>
#include <new>

// What the compiler expects of the library that is left out. Nothing here is ever deleted, or called while it is made.
void operator delete(void*) noexcept {}
void operator delete(void*, std::size_t) noexcept {}
extern "C" void __cxa_pure_virtual() {}

namespace {

bool equal(const char* one, const char* other) {
  while (*one != '\0' && *one == *other) ++one, ++other;
  return *one == *other;
}

class Implementation : public zuvia::IPluginEntryPoint {
 public:
  void* queryInterface(const char* const& iid) override {
    if (equal(iid, zuvia::IID_IPluginEntryPoint)) return static_cast<zuvia::IPluginEntryPoint*>(this);
    if (equal(iid, zuvia::IID_IZUPlugin)) return static_cast<zuvia::IZUPlugin*>(this);
    return nullptr;
  }
  void onLoaded(const char*) override {}
  void onUnload() override {}
};

// Nobody runs constructors of static objects here.
alignas(Implementation) std::byte memory[sizeof(Implementation)];

}  // namespace

extern "C" __declspec(dllexport) zuvia::IPluginEntryPoint* createImpl() {
  return new (memory) Implementation;
}
