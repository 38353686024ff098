#include "DllLoaderTest.h"

#include "support/Text.h"

namespace zuvia::test {
namespace {

// Of this program, as its lines carry it.
std::string ownName() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return toUtf8(path.substr(path.rfind(L'\\') + 1));
}

}  // namespace

testing::Matcher<const LogLine&> isLine(const std::string& function, const std::wstring& message) {
  using testing::Field;
  return testing::AllOf(
      Field("level", &LogLine::level, 1), Field("class", &LogLine::className, "ZuDllLoader"),
      Field("source", &LogLine::sourceFile, "ZuDllLoader"), Field("line", &LogLine::line, testing::Gt(0)),
      Field("function", &LogLine::functionName, "ZuDllLoader::" + function),
      Field("message", &LogLine::message, WideText(message)), Field("module", &LogLine::moduleName, ownName()));
}

bool isModuleLoaded(const std::wstring& path) {
  return GetModuleHandleW(path.c_str()) != nullptr;
}

void DllLoaderTest::load() {
  ASSERT_TRUE(loader_.loadZuDll(object_));
  ASSERT_NE(object_, nullptr);
  log_.clear();
}

}  // namespace zuvia::test
