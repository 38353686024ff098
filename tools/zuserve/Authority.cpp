#include "zuserve/Authority.h"

#include <memory>
#include <optional>

#include "platform/Directories.h"
#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/PendingFile.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"

#include <objbase.h>
#include <shlobj.h>

namespace zuvia::zuserve {
namespace {

using tools::PendingFile;

constexpr std::size_t kMaxAuthorityBytes = 64 * 1024;

std::filesystem::path pairFile(const std::filesystem::path& directory) {
  return directory / L"authority.pem";
}
std::filesystem::path certificateFile(const std::filesystem::path& directory) {
  return directory / L"authority.crt";
}

tls::DevCa loadAuthority(const std::filesystem::path& directory) {
  const std::string pair = tools::readWholeFile(pairFile(directory), kMaxAuthorityBytes);
  try {
    return tls::DevCa::load(pair, pair);
  } catch (const std::runtime_error& error) {
    throw tools::Failure(tools::pathText(pairFile(directory)) + ": " + error.what());
  }
}

tls::DevCa makeAuthority() {
  tls::CaOptions options;
  options.permittedDnsNames = {"localhost"};
  options.permittedIpAddresses = {"127.0.0.1"};
  return tls::DevCa::create("zuvia development authority", options);
}

bool hasExpired(const tls::DevCa& authority) {
  return tls::secondsUntilExpiry(authority.root().certificatePem) <= 0;
}

// What is there afterwards counts: another process may have been faster.
tls::DevCa makeAuthorityIn(const std::filesystem::path& directory, PendingFile::Existing existing) {
  const tls::Certificate root = makeAuthority().root();
  tools::writeWholeFile(pairFile(directory), root.certificatePem + root.keyPem, existing);
  return loadAuthority(directory);
}

void exportCertificate(const std::filesystem::path& file, const tls::DevCa& authority) {
  const std::string& wanted = authority.root().certificatePem;
  const bool isThere = isFile(file.wstring()) && tools::readWholeFile(file, kMaxAuthorityBytes) == wanted;
  if (!isThere) tools::writeWholeFile(file, wanted);
}

tls::DevCa takeUpAuthority(const std::filesystem::path& directory) {
  if (!hasAuthority(directory)) return makeAuthorityIn(directory, PendingFile::Existing::Keep);
  tls::DevCa authority = loadAuthority(directory);
  return hasExpired(authority) ? makeAuthorityIn(directory, PendingFile::Existing::Replace) : std::move(authority);
}

}  // namespace

std::filesystem::path defaultAuthorityDirectory() {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &path);
  const std::unique_ptr<wchar_t, decltype(&CoTaskMemFree)> owner(path, &CoTaskMemFree);
  if (FAILED(result)) throw tools::Failure("no directory for local application data; name one with --ca");
  return std::filesystem::path(path) / L"zuvia" / L"dev-ca";
}

bool hasAuthority(const std::filesystem::path& directory) {
  return isFile(pairFile(directory).wstring());
}

tls::DevCa openAuthority(const std::filesystem::path& directory) {
  const int code = createDirectories(directory.wstring());
  if (!isDirectory(directory.wstring())) {
    throw tools::Failure("cannot make the directory " + tools::pathText(directory) + ": " +
                         tools::systemErrorText(static_cast<std::uint32_t>(code)));
  }
  tls::DevCa authority = takeUpAuthority(directory);
  exportCertificate(certificateFile(directory), authority);
  return authority;
}

tls::Certificate issueLocalCertificate(const tls::DevCa& authority) {
  tls::IssueOptions options;
  options.dnsNames = {"localhost"};
  options.ipAddresses = {"127.0.0.1"};
  return authority.issue(options);
}

}  // namespace zuvia::zuserve
