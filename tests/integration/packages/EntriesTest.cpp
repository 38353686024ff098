// What the entries of a package say of themselves: attributes, types, names that no program would write.

#include <string>
#include <vector>

#include "Archives.h"
#include "integration/packages/PackageTest.h"

namespace zuvia::test {
namespace {

using hxutility::test::HandMade;
using Entry = HandMade::Entry;

constexpr uint32_t kUnixMode = 0x8000;  // of the attributes: the upper half holds a file mode

class EntriesTest : public PackageTest {
 protected:
  // The module with these entries.
  std::string packed(const std::vector<Entry>& entries) const {
    std::vector<Entry> all = {{u"zuimpl.dll", implementation}};
    all.insert(all.end(), entries.begin(), entries.end());
    return HandMade(all).bytes();
  }

  void refused(const std::vector<Entry>& entries) {
    expectRefused(packed(entries), {L"Check unzip file fail. UnZip7zToMemory error, entries: 0"});
  }
};

TEST_F(EntriesTest, AreWrittenAsPlainFilesWhateverTheirAttributes) {
  for (const uint32_t attributes :
       {uint32_t{FILE_ATTRIBUTE_READONLY}, uint32_t{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM},
        uint32_t{FILE_ATTRIBUTE_REPARSE_POINT}, uint32_t{FILE_ATTRIBUTE_ENCRYPTED}, 0100444U << 16 | kUnixMode}) {
    SCOPED_TRACE(attributes);
    expectPublished(packed({{u"sub/a", "content", attributes}, {u"empty", "", attributes}}),
                    {{L"zuimpl.dll", implementation}, {L"sub\\a", "content"}, {L"empty", ""}});
  }
  expectPublished(HandMade({{u"zuimpl.dll", implementation, FILE_ATTRIBUTE_READONLY}}).bytes(),
                  {{L"zuimpl.dll", implementation}});
}

TEST_F(EntriesTest, OfDirectoriesAreLeftOut) {
  expectPublished(packed({{u"sub", "", FILE_ATTRIBUTE_DIRECTORY, true}, {u"sub/x", "1"}, {u"../up", "", 0, true}}),
                  {{L"zuimpl.dll", implementation}, {L"sub\\x", "1"}});
}

TEST_F(EntriesTest, ThatAreNeitherFilesNorDirectoriesAreRefused) {
  refused({{u"link", "..", 0120777U << 16 | kUnixMode}});
  refused({{u"link", "C:\\", 0120777U << 16 | kUnixMode}, {u"link/x", "1"}});
  refused({{u"pipe", "", 0010644U << 16 | kUnixMode}});
  refused({{u"device", "", 0020644U << 16 | kUnixMode}});
  refused({{u"sub", "content", 0040755U << 16 | kUnixMode}});
}

TEST_F(EntriesTest, ThatDoNotSayWhichFileTheyMeanAreRefused) {
  refused({{u"a", "first"}, {u"a", "second"}});
  refused({{u"zuimpl.dll", "another"}});
  refused({{u"", "content"}});
  refused({{u"a\xD83C", "content"}});
}

TEST_F(EntriesTest, WhoseHeaderLiesAreRefused) {
  const std::wstring line = L"Check unzip file fail. UnZip7zToMemory error, entries: 0";
  HandMade package({{u"zuimpl.dll", implementation}, {u"a", "content"}});
  package.firstChecksum = 0;
  expectRefused(package.bytes(), {line});
  package.firstChecksum.reset();
  package.method = 0x7F;
  expectRefused(package.bytes(), {line});
  package.method = 0;
  for (const uint64_t size : {uint64_t{1} << 20, uint64_t{1} << 40, UINT64_MAX}) {
    package.unpackedSize = size;
    expectRefused(package.bytes(), {line});
  }
  package.unpackedSize.reset();
  expectPublished(package.bytes(), {{L"zuimpl.dll", implementation}, {L"a", "content"}});
}

}  // namespace
}  // namespace zuvia::test
