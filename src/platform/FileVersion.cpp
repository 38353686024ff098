#include "platform/FileVersion.h"

#include <cstddef>
#include <vector>

namespace zuvia {

namespace {

FileVersionReport& failedAt(FileVersionReport& report, FileVersionReport::Step step) {
  report.error = GetLastError();
  report.step = step;
  return report;
}

void setNumbers(FileVersionReport& report, const VS_FIXEDFILEINFO& info) {
  report.major = HIWORD(info.dwFileVersionMS);
  report.minor = LOWORD(info.dwFileVersionMS);
  report.build = HIWORD(info.dwFileVersionLS);
  report.revision = LOWORD(info.dwFileVersionLS);
}

}  // namespace

FileVersionReport readFileVersion(const std::wstring& path) {
  using Step = FileVersionReport::Step;
  FileVersionReport report;

  report.size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
  if (report.size == 0) {
    return failedAt(report, Step::Size);
  }

  // The system vouches for `length` bytes of fixed information, which may be fewer than are read
  // here: what a short one lacks reads as zero, never from outside the buffer.
  std::vector<std::byte> buffer(report.size + sizeof(VS_FIXEDFILEINFO));
  if (!GetFileVersionInfoW(path.c_str(), 0, report.size, buffer.data())) {
    return failedAt(report, Step::Info);
  }

  void* info = nullptr;
  const BOOL found = VerQueryValueW(buffer.data(), L"\\", &info, &report.length);
  report.hasFixedInfo = info != nullptr;
  if (!found) {
    return failedAt(report, Step::Query);
  }
  if (info == nullptr || report.length == 0) {
    return failedAt(report, Step::QueryEmpty);
  }

  setNumbers(report, *static_cast<const VS_FIXEDFILEINFO*>(info));
  report.step = Step::Done;
  return report;
}

}  // namespace zuvia
