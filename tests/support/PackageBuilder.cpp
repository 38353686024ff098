#include "support/PackageBuilder.h"

#include <archive.h>
#include <archive_entry.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace zuvia::test {
namespace {

using Writer = std::unique_ptr<archive, decltype(&archive_write_free)>;
using EntryPtr = std::unique_ptr<archive_entry, decltype(&archive_entry_free)>;

void check(archive* writer, int result) {
  if (result == ARCHIVE_OK) return;
  const char* text = archive_error_string(writer);
  throw std::runtime_error(std::string("The package cannot be made: ") + (text == nullptr ? "" : text));
}

EntryPtr makeEntry(const std::wstring& name, std::size_t size, bool directory) {
  EntryPtr entry(archive_entry_new(), &archive_entry_free);
  archive_entry_copy_pathname_w(entry.get(), name.c_str());
  archive_entry_set_filetype(entry.get(), directory ? AE_IFDIR : AE_IFREG);
  archive_entry_set_perm(entry.get(), 0644);
  archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
  return entry;
}

la_ssize_t append(archive*, void* data, const void* buffer, std::size_t size) {
  static_cast<std::string*>(data)->append(static_cast<const char*>(buffer), size);
  return static_cast<la_ssize_t>(size);
}

}  // namespace

PackageBuilder& PackageBuilder::add(const std::wstring& name, std::string content) {
  entries_.push_back({name, std::move(content), false});
  return *this;
}

PackageBuilder& PackageBuilder::addDirectory(const std::wstring& name) {
  entries_.push_back({name, {}, true});
  return *this;
}

std::string PackageBuilder::build() const {
  std::string package;
  const Writer writer(archive_write_new(), &archive_write_free);
  check(writer.get(), archive_write_set_format_7zip(writer.get()));
  check(writer.get(), archive_write_set_format_option(writer.get(), "7zip", "compression", method_.c_str()));
  check(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1));  // nothing after the archive
  check(writer.get(), archive_write_open(writer.get(), &package, nullptr, &append, nullptr));
  for (const Entry& entry : entries_) {
    const EntryPtr header = makeEntry(entry.name, entry.content.size(), entry.directory);
    check(writer.get(), archive_write_header(writer.get(), header.get()));
    const la_ssize_t written = archive_write_data(writer.get(), entry.content.data(), entry.content.size());
    if (written != static_cast<la_ssize_t>(entry.content.size())) check(writer.get(), ARCHIVE_FATAL);
  }
  check(writer.get(), archive_write_close(writer.get()));
  return package;
}

}  // namespace zuvia::test
