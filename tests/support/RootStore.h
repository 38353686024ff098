#pragma once

#include <string>

namespace zuvia::test {

// A certificate store as CertOpenSystemStore opens one, with nothing in it but this root certificate (PEM): reading the
// system's own takes most of the time of an update. Whoever uses it closes it.
void* openStoreOf(const std::string& rootPem);

}  // namespace zuvia::test
