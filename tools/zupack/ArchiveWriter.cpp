#include "zupack/ArchiveWriter.h"

#include <fstream>
#include <memory>
#include <string>

#include <archive.h>
#include <archive_entry.h>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr std::size_t kChunkBytes = 1 << 16;
constexpr int kPermissions = 0644;
constexpr const char* kLevel = "6";  // unpacking takes 8 MiB; the next level doubles that for next to nothing

struct WriterFree {
  void operator()(archive* writer) const { archive_write_free(writer); }
};
struct EntryFree {
  void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using Writer = std::unique_ptr<archive, WriterFree>;
using Entry = std::unique_ptr<archive_entry, EntryFree>;

void require(const Writer& writer, int result, const std::string& what) {
  if (result >= ARCHIVE_OK) return;
  const char* text = archive_error_string(writer.get());
  throw Failure("cannot write " + what + ": " + (text != nullptr ? text : "out of memory"));
}

Writer openArchive(const std::filesystem::path& archive) {
  Writer writer(archive_write_new());
  if (!writer) throw std::bad_alloc();
  const std::string name = tools::pathText(archive);
  require(writer, archive_write_set_format_7zip(writer.get()), name);
  require(writer, archive_write_set_format_option(writer.get(), "7zip", "compression", "lzma2"), name);
  require(writer, archive_write_set_format_option(writer.get(), "7zip", "compression-level", kLevel), name);
  require(writer, archive_write_open_filename_w(writer.get(), archive.c_str()), name);
  return writer;
}

void writeHeader(const Writer& writer, const PackageFile& file, std::uintmax_t size) {
  const Entry entry(archive_entry_new());
  if (!entry) throw std::bad_alloc();
  archive_entry_copy_pathname_w(entry.get(), tools::toWide(file.name).c_str());
  archive_entry_set_filetype(entry.get(), AE_IFREG);
  archive_entry_set_perm(entry.get(), kPermissions);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
  require(writer, archive_write_header(writer.get(), entry.get()), tools::quoted(file.name));
}

// Tells how far all files together are.
class Meter {
 public:
  Meter(const std::vector<PackageFile>& files, const Progress& progress) : progress_(progress) {
    for (const PackageFile& file : files) total_ += std::filesystem::file_size(file.file);
  }

  void add(std::uint64_t bytes) {
    done_ += bytes;
    if (progress_) progress_(done_, total_);
  }

 private:
  const Progress& progress_;
  std::uint64_t done_ = 0;
  std::uint64_t total_ = 0;
};

void writeContent(const Writer& writer, const PackageFile& file, std::uintmax_t size, Meter& meter) {
  std::ifstream input(file.file, std::ios::binary);
  std::vector<char> chunk(kChunkBytes);
  std::uintmax_t total = 0;
  while (input.read(chunk.data(), static_cast<std::streamsize>(chunk.size())), input.gcount() > 0) {
    const auto count = static_cast<std::size_t>(input.gcount());
    const la_ssize_t written = archive_write_data(writer.get(), chunk.data(), count);
    require(writer, static_cast<int>(written), tools::quoted(file.name));
    total += count;
    meter.add(count);
  }
  if (!input.eof() || total != size) throw Failure("cannot read " + tools::pathText(file.file));
}

}  // namespace

void writeArchive(const std::filesystem::path& archive, const std::vector<PackageFile>& files,
                  const Progress& progress) {
  Meter meter(files, progress);
  const Writer writer = openArchive(archive);
  for (const PackageFile& file : files) {
    const std::uintmax_t size = std::filesystem::file_size(file.file);
    writeHeader(writer, file, size);
    writeContent(writer, file, size, meter);
  }
  require(writer, archive_write_close(writer.get()), tools::pathText(archive));
}

}  // namespace zuvia::zupack
