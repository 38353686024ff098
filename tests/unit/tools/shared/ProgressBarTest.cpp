#include "shared/ProgressBar.h"

#include <gtest/gtest.h>

#include "platform/Handles.h"
#include "platform/Windows.h"

namespace zuvia::tools {
namespace {

TEST(ProgressText, GrowsFromNothingToTheWhole) {
  EXPECT_EQ(progressText("packing", 0, 200), "packing [--------------------]   0 %");
  EXPECT_EQ(progressText("packing", 59, 200), "packing [#####---------------]  29 %");
  EXPECT_EQ(progressText("packing", 200, 200), "packing [####################] 100 %");
}

TEST(ProgressText, StaysWithinItsBar) {
  EXPECT_EQ(progressText("x", 300, 200), "x [####################] 100 %");
  EXPECT_EQ(progressText("x", 0, 0), "x [####################] 100 %");
}

// Leads the standard error stream elsewhere for as long as it lives.
class ErrorStream {
 public:
  explicit ErrorStream(HANDLE other) { SetStdHandle(STD_ERROR_HANDLE, other); }
  ~ErrorStream() { SetStdHandle(STD_ERROR_HANDLE, before_); }
  ErrorStream(const ErrorStream&) = delete;
  ErrorStream& operator=(const ErrorStream&) = delete;

 private:
  const HANDLE before_ = GetStdHandle(STD_ERROR_HANDLE);
};

TEST(ProgressBar, WritesNothingIntoAPipe) {
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  ASSERT_NE(CreatePipe(&reader, &writer, nullptr, 0), FALSE);
  const FileHandle reading(reader);
  const FileHandle writing(writer);
  {
    const ErrorStream stream(writer);
    ProgressBar bar("packing");
    bar.show(1, 2);
  }
  DWORD waiting = 1;
  ASSERT_NE(PeekNamedPipe(reader, nullptr, 0, nullptr, &waiting, nullptr), FALSE);
  EXPECT_EQ(waiting, 0u);
}

}  // namespace
}  // namespace zuvia::tools
