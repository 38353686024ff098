#include "zuserve/Authority.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../TemporaryTree.h"
#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

using test::TemporaryTree;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string failureOf(const std::wstring& directory) {
  try {
    openAuthority(directory);
  } catch (const tools::Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST(Authority, IsMadeOnceAndTakenUpAgain) {
  const TemporaryTree tree;
  const std::wstring directory = tree.path(L"new\\ca");
  EXPECT_FALSE(hasAuthority(directory));
  const std::string made = openAuthority(directory).root().certificatePem;
  EXPECT_TRUE(hasAuthority(directory));
  EXPECT_EQ(openAuthority(directory).root().certificatePem, made);
}

TEST(Authority, KeepsItsKeyOutOfTheCertificateForOthers) {
  const TemporaryTree tree;
  const tls::DevCa authority = openAuthority(tree.path());
  EXPECT_EQ(test::readFile(tree.path(L"authority.crt")), authority.root().certificatePem);
  EXPECT_THAT(test::readFile(tree.path(L"authority.crt")), Not(HasSubstr("KEY")));
  EXPECT_THAT(test::readFile(tree.path(L"authority.pem")), HasSubstr("PRIVATE KEY"));
  EXPECT_EQ(test::listTree(tree.path()).size(), 2u);
}

TEST(Authority, IsMadeAnewWhenItHasExpired) {
  const TemporaryTree tree;
  tls::CaOptions past;
  past.validity = {-100, -10};
  const tls::Certificate expired = tls::DevCa::create("zuvia test", past).root();
  test::writeFile(tree.path(L"authority.pem"), expired.certificatePem + expired.keyPem);
  const std::string made = openAuthority(tree.path()).root().certificatePem;
  EXPECT_NE(made, expired.certificatePem);
  EXPECT_GT(tls::secondsUntilExpiry(made), 0);
  EXPECT_EQ(openAuthority(tree.path()).root().certificatePem, made);
  EXPECT_EQ(test::readFile(tree.path(L"authority.crt")), made);
}

TEST(Authority, NamesTheFileThatHoldsNone) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"authority.pem"), "text");
  EXPECT_THAT(failureOf(tree.path()),
              StartsWith(tools::toUtf8(tree.path(L"authority.pem")) + ": read a certificate: "));
  EXPECT_EQ(test::readFile(tree.path(L"authority.pem")), "text") << "left alone";
}

TEST(Authority, NamesTheDirectoryThatCannotBeMade) {
  const TemporaryTree tree;
  test::writeFile(tree.path(L"x"), "a file");
  EXPECT_THAT(failureOf(tree.path(L"x")),
              StartsWith("cannot make the directory " + tools::toUtf8(tree.path(L"x")) + ": "));
}

TEST(Authority, IssuesAYearForThisMachine) {
  const TemporaryTree tree;
  const tls::Certificate server = issueLocalCertificate(openAuthority(tree.path()));
  EXPECT_NEAR(static_cast<double>(tls::secondsUntilExpiry(server.certificatePem)), 365.0 * 24 * 3600, 60);
}

TEST(Authority, LiesInTheLocalApplicationDataByDefault) {
  EXPECT_TRUE(defaultAuthorityDirectory().wstring().ends_with(L"\\zuvia\\dev-ca"));
}

}  // namespace
}  // namespace zuvia::zuserve
