#include "support/TrustedRoot.h"

#include <gtest/gtest.h>
#include <tls/DevCa.h>

#include <stdexcept>
#include <utility>

namespace zuvia::test {

TrustedRoot::TrustedRoot(std::string certificatePem) : certificatePem_(std::move(certificatePem)) {
  if (!tls::addToUserRoots(certificatePem_)) throw std::runtime_error("The test root cannot be added");
}

TrustedRoot::~TrustedRoot() {
  if (!tls::removeFromUserRoots(certificatePem_)) ADD_FAILURE() << "The test root cannot be taken out";
}

}  // namespace zuvia::test
