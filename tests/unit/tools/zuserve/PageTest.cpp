#include "zuserve/Page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zuvia::zuserve {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Page, IsOneDocumentThatNamesNothingOutside) {
  const std::string text(pageText());
  EXPECT_THAT(text, testing::StartsWith("<!DOCTYPE html>"));
  EXPECT_THAT(text, testing::EndsWith("</html>\n"));
  for (const char* part : {"http:", "https:", "src=", "@import", "url(", "innerHTML", "document.write"}) {
    EXPECT_THAT(text, Not(HasSubstr(part)));
  }
}

TEST(Page, MayRunNothingButItsOwnScript) {
  for (const char* part :
       {"default-src 'none';", "; script-src 'sha256-", "; style-src 'sha256-", "; connect-src 'self';",
        "; frame-ancestors 'none';", "require-trusted-types-for 'script'"}) {
    EXPECT_THAT(pagePolicy(), HasSubstr(part));
  }
  EXPECT_THAT(pagePolicy(), Not(HasSubstr("unsafe")));
}

}  // namespace
}  // namespace zuvia::zuserve
