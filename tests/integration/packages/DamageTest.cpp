// One small package, cut off and changed at every 64th byte, each time through a whole update.

#include <cstdint>
#include <string>

#include "integration/packages/PackageTest.h"
#include "support/HandleCount.h"
#include "support/PackageBuilder.h"

namespace zuvia::test {
namespace {

constexpr size_t kStep = 64;
const std::wstring kNotRead = L"Check unzip file fail. UnZip7zToMemory error, entries: 0";

std::wstring badSignature(size_t size) {
  return L"Check unzip file fail. Invalid 7z signature, size: " + std::to_wstring(size);
}

// Bytes that do not get shorter when they are packed.
std::string noise(size_t size) {
  std::string bytes;
  for (uint32_t state = 1; bytes.size() < size; state = state * 1664525u + 1013904223u) {
    bytes += static_cast<char>(state >> 24);
  }
  return bytes;
}

// What is open, except what the run-time library of an implementation module keeps at each load, an event and a
// thread (docs/implementation-modules.md), and the workers of the process's thread pool, which come and go.
HandleCount openHandles() {
  HandleCount count = countHandles();
  for (const char* type : {"Event", "Thread", "running threads"}) count.erase(type);
  return count;
}

class DamageTest : public PackageTest {
 protected:
  void SetUp() override {
    PackageTest::SetUp();
    // Nothing but a version resource: a real one would make a large package.
    implementation = readFile(parentOf(programDirectory()) + L"\\packages-module\\zuimpl.dll");
    loadable = false;
    files = {{L"zuimpl.dll", implementation}, {L"data.bin", noise(2000)}, {L"sub\\readme.txt", "Read this.\n"}};
    PackageBuilder builder;
    for (const auto& [name, content] : files) builder.add(name, content);
    package = builder.build();
    ASSERT_GT(package.size(), 40 * kStep);
    expectPublished(package, files);
    before_ = openHandles();
  }

  void TearDown() override {
    expectPublished(package, files);
    EXPECT_EQ(describeGrowth(before_, openHandles()), "");
  }

  Contents files;
  std::string package;

 private:
  HandleCount before_;
};

TEST_F(DamageTest, ByTruncationIsNoticedWhereverItIs) {
  const ImportHook<decltype(GetFileSizeEx)> noError(module, "GetFileSizeEx", [](auto* original, auto... arguments) {
    const BOOL result = original(arguments...);
    SetLastError(ERROR_SUCCESS);  // what an earlier call left would be in the line otherwise
    return result;
  });
  expectRefused("", {L"Read file fail! Invalid file size: 0, max: 104857600, error: 0, path: <package>",
                     L"Read unzip file fail: <package>"});
  for (const size_t size : {1u, 6u}) expectRefused(package.substr(0, size), {badSignature(size)});
  expectRefused(package.substr(0, 7), {kNotRead});
  for (size_t size = kStep; size < package.size(); size += kStep) {
    SCOPED_TRACE(size);
    expectRefused(package.substr(0, size), {kNotRead});
  }
  expectRefused(package.substr(0, package.size() - 1), {kNotRead});
}

// Nearly everything in a package is under a checksum. A change that is not noticed must have changed nothing.
TEST_F(DamageTest, ByAnotherByteIsNoticedOrHarmless) {
  size_t changed = 0;
  size_t published = 0;
  for (size_t place = 0; place < package.size(); place += kStep) {
    SCOPED_TRACE(place);
    std::string damaged = package;
    damaged[place] = static_cast<char>(~damaged[place]);
    ++changed;
    published +=
        expectPublishedOrRefused(damaged, files, {place < 6 ? badSignature(package.size()) : kNotRead}) ? 1 : 0;
  }
  EXPECT_LE(published, changed / 20);
}

}  // namespace
}  // namespace zuvia::test
