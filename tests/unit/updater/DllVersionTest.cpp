#include <gmock/gmock.h>

#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DllVersionTest : public UpdaterTest {
 protected:
  // Reads the version of a module that has none; what was in the result must stay.
  void expectFailure(const std::wstring& path) {
    DllCandidate version{L"kept", 1, 2, 3, 4};
    EXPECT_FALSE(ZuDllUpdater::getDllVersion(path, version));
    EXPECT_EQ(candidateVersionString(version), "1.2.3.4");
    EXPECT_EQ(version.path, L"kept");
  }
};

TEST_F(DllVersionTest, ReadsTheFourNumbers) {
  for (const std::wstring name : {L"2.0.0.47", L"2.0.1.0", L"65535.65535.65535.65535", L"0.0.0.0"}) {
    DllCandidate version{L"kept", 9, 9, 9, 9};
    EXPECT_TRUE(ZuDllUpdater::getDllVersion(moduleFile(name), version));
    EXPECT_EQ(candidateVersionString(version), std::string(name.begin(), name.end()));
    EXPECT_EQ(version.path, L"kept");
  }
  EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(DllVersionTest, FailsWithoutAResource) {
  const std::wstring path = moduleFile(L"no-version");
  const DWORD error = errorAfter([&path] { GetFileVersionInfoSizeW(path.c_str(), nullptr); });
  expectFailure(path);
  EXPECT_THAT(logged(), ElementsAre(L"getDllVersion: Get dll version fail! No version resource, path: " + path +
                                    L", error: " + std::to_wstring(error)));
}

TEST_F(DllVersionTest, FailsWithTheErrorOfTheSize) {
  const std::wstring path = moduleFile(L"2.0.0.47");
  const FailingImport<decltype(GetFileVersionInfoSizeW)> failing(self(), "GetFileVersionInfoSizeW", 0,
                                                                 {.lastError = 0x80000005});
  expectFailure(path);
  EXPECT_THAT(logged(), ElementsAre(L"getDllVersion: Get dll version fail! No version resource, path: " + path +
                                    L", error: 2147483653"));
}

TEST_F(DllVersionTest, FailsWhenTheResourceCannotBeRead) {
  const std::wstring path = moduleFile(L"2.0.0.47");
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
  ASSERT_GT(size, 0u);
  const FailingImport<decltype(GetFileVersionInfoW)> failing(self(), "GetFileVersionInfoW", FALSE,
                                                             {.lastError = 0x80000005});
  expectFailure(path);
  EXPECT_THAT(logged(),
              ElementsAre(L"getDllVersion: Get dll version fail! GetFileVersionInfo error: 2147483653, size: " +
                          std::to_wstring(size) + L", path: " + path));
}

TEST_F(DllVersionTest, FailsWithoutFixedInformation) {
  const std::wstring path = moduleFile(L"no-fixed-info");
  expectFailure(path);
  EXPECT_THAT(logged(), ElementsAre(WideEndsWith(L", path: " + path)));
  EXPECT_THAT(logged(),
              ElementsAre(WideStartsWith(std::wstring(
                  L"getDllVersion: Get dll version fail! VerQueryValue invalid, len: 0, expect: 52, fixedInfo: "))));
}

// What the query answers in the place of the system.
struct QueryAnswer {
  BOOL result;
  bool hasInformation;
  UINT length;
};

void PrintTo(const QueryAnswer& answer, std::ostream* stream) {
  *stream << (answer.result != FALSE ? "success" : "failure") << (answer.hasInformation ? " with " : " without ")
          << answer.length << " bytes";
}

class DllVersionQueryTest : public DllVersionTest, public testing::WithParamInterface<QueryAnswer> {};

TEST_P(DllVersionQueryTest, FailsInOneWording) {
  const std::wstring path = moduleFile(L"2.0.0.47");
  const ImportHook<decltype(VerQueryValueW)> hook(
      self(), "VerQueryValueW",
      [](auto* original, const void* block, const wchar_t* name, void** information, UINT* length) -> BOOL {
        EXPECT_EQ(std::wstring(name), L"\\");
        original(block, name, information, length);
        if (!GetParam().hasInformation) *information = nullptr;
        *length = GetParam().length;
        return GetParam().result;
      });
  expectFailure(path);
  const std::wstring length = std::to_wstring(GetParam().length);
  const std::wstring valid = L"getDllVersion: Get dll version fail! VerQueryValue invalid, len: " + length +
                             L", expect: 52, fixedInfo: valid, path: " + path;
  const std::wstring null = L"getDllVersion: Get dll version fail! VerQueryValue invalid, len: " + length +
                            L", expect: 52, fixedInfo: null, path: " + path;
  EXPECT_THAT(logged(), ElementsAre(GetParam().hasInformation ? valid : null));
}

INSTANTIATE_TEST_SUITE_P(Answers, DllVersionQueryTest,
                         testing::Values(QueryAnswer{FALSE, false, 0}, QueryAnswer{FALSE, true, 52},
                                         QueryAnswer{TRUE, false, 52}, QueryAnswer{TRUE, true, 0},
                                         QueryAnswer{TRUE, true, 51}));

}  // namespace
}  // namespace zuvia::test
