#pragma once

#include <filesystem>

#include "tls/DevCa.h"

namespace zuvia::zuserve {

// The development certificate authority of this user, kept in a directory: authority.pem (certificate and
// private key, one file so that they always fit) and authority.crt (the certificate alone, for other programs). It can
// only vouch for localhost and 127.0.0.1, so that its key opens nothing else to whoever gets hold of it.

// zuvia\dev-ca in the current user's local application data. Throws tools::Failure when Windows names none.
std::filesystem::path defaultAuthorityDirectory();

// Whether an authority was made there.
bool hasAuthority(const std::filesystem::path& directory);

// Takes up the authority, or makes one, and the directory, when there is none or it has expired. Several processes may
// do this at once and get the same one. Throws tools::Failure, which names the file, or std::runtime_error when OpenSSL
// fails.
tls::DevCa openAuthority(const std::filesystem::path& directory);

// A fresh certificate for a server on this machine, good for a year.
tls::Certificate issueLocalCertificate(const tls::DevCa& authority);

}  // namespace zuvia::zuserve
