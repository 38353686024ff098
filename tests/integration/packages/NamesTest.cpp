// Names in a package: what the rule of the updater lets through is written below its temporary directory, goes to a
// device, or fails; what it does not let through is refused before anything is written.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "integration/packages/PackageTest.h"
#include "support/PackageBuilder.h"

namespace zuvia::test {
namespace {

// Name and content of what is in a package beside the module.
using Entries = std::vector<std::pair<std::wstring, std::string>>;

class NamesTest : public PackageTest {
 protected:
  // The module and these entries are published, and the entries have become these files.
  void written(const Entries& entries, Contents files) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, nameOf(entries));
    files.emplace(L"zuimpl.dll", implementation);
    expectPublished(packed(entries), files);
  }

  // This line says why unpacking ended.
  void refused(const Entries& entries, const std::wstring& line) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, nameOf(entries));
    expectRefused(packed(entries), {line});
  }

  // A file of this name cannot be opened.
  void notOpened(const std::wstring& name, const std::wstring& path, const std::wstring& reason) {
    refused({{name, "x"}}, L"Unzip file fail! Open output file failed, path: <temporary>\\" + path + reason);
  }
  void notOpened(const std::wstring& name, const std::wstring& reason) { notOpened(name, name, reason); }

  // A file of this name goes to a device. Which ones there are and can be opened differs from machine to machine.
  // No content, for it may be someone's port.
  void swallowedOrNotOpened(const std::wstring& name, const std::wstring& device) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, toUtf8(name));
    elsewhere = {device};
    std::vector<std::wstring> lines;
    for (const wchar_t* reason : {kNoFile, kDenied, kBadDescriptor, kInvalid}) {
      lines.push_back(L"Unzip file fail! Open output file failed, path: <temporary>\\" + name + reason);
    }
    expectPublishedOrRefused(packed({{name, ""}}), {{L"zuimpl.dll", implementation}}, lines);
  }

  std::string packed(const Entries& entries) const {
    PackageBuilder builder("copy");
    builder.add(L"zuimpl.dll", implementation);
    for (const auto& [name, content] : entries) builder.add(name, content);
    return builder.build();
  }

  static std::string nameOf(const Entries& entries) {
    std::string names;
    for (const auto& [name, content] : entries) names += '"' + toUtf8(name) + "\" ";
    return names;
  }

  // The C library's, with its number.
  static constexpr const wchar_t* kNoFile = L", errno: 2, msg: No such file or directory";
  static constexpr const wchar_t* kBadDescriptor = L", errno: 9, msg: Bad file descriptor";
  static constexpr const wchar_t* kDenied = L", errno: 13, msg: Permission denied";
  static constexpr const wchar_t* kInvalid = L", errno: 22, msg: Invalid argument";
};

// ---- Refused before anything is written

TEST_F(NamesTest, ThatLeadUpwardsOrElsewhereAreIllegal) {
  for (const wchar_t* name : {L"..",
                              L"../x",
                              L"..\\x",
                              L"a/..",
                              L"a/../b",
                              L"a\\..\\b",
                              L"a/..\\b",
                              L"a\\../../../x",
                              L"../2.0.0.45/zuimpl.dll",
                              L"/x",
                              L"\\x",
                              L"//server/share/x",
                              L"\\\\server\\share\\x",
                              L"\\\\?\\C:\\x",
                              L"\\\\.\\nul",
                              L"\\??\\C:\\x",
                              L"c:x",
                              L"C:\\x",
                              L"C:/x",
                              L"z:",
                              L"1:x",
                              L"::x",
                              L" :x",
                              L".:x"}) {
    refused({{L"!first.txt", "1"}, {name, "2"}}, std::wstring(L"Unzip file fail! Illegal archive entry: ") + name);
  }
}

TEST_F(NamesTest, OfMoreThan260CharactersAreIllegal) {
  const std::wstring name(261, L'n');
  refused({{name, "x"}}, L"Unzip file fail! Illegal archive entry: " + name);
  std::wstring path;
  while (path.size() < 250) path += L"ninechars/";
  path += L"1234567.txt";
  refused({{path, "x"}}, L"Unzip file fail! Illegal archive entry: " + path);
}

TEST_F(NamesTest, OfOtherModulesAreNoModule) {
  const std::wstring noModule = L"Check unzip file fail. File zuimpl.dll not exist!";
  for (const wchar_t* name :
       {L"bin/zuimpl.dll", L"bin\\zuimpl.dll", L"./zuimpl.dll", L"zuimpl.dll.", L"zuimpl.dll ", L" zuimpl.dll",
        L"zuimpl.dl", L"zuimpl.dll.txt", L"zu\u0131mpl.dll", L"zuimpl.d\uFF4Cl"}) {
    SCOPED_TRACE(toUtf8(name));
    expectRefused(PackageBuilder("copy").add(name, implementation).build(), {noModule});
  }
}

// ---- Devices

// Windows 11 keeps to the bare name in a full path; what it does not take for a device becomes a file.
TEST_F(NamesTest, OfTheNullDeviceAreSwallowed) {
  elsewhere = {L"\\\\.\\nul"};
  written({{L"nul", "x"}}, {});
  written({{L"nul.dll", "x"}}, {});
  written({{L"nul .txt", "x"}}, {});
  written({{L"nul:", "x"}}, {});
  written({{L"nul:x", "x"}}, {});
  elsewhere = {L"\\\\.\\NUL"};
  written({{L"NUL", "x"}}, {});
}

TEST_F(NamesTest, OfDevicesInDirectoriesLeaveTheDirectory) {
  elsewhere = {L"\\\\.\\nul"};
  written({{L"sub/nul", "x"}, {L"sub/y", "y"}}, {{L"sub\\y", "y"}});
}

TEST_F(NamesTest, OfDevicesAreNoDirectories) {
  elsewhere = {L"\\\\.\\nul"};
  notOpened(L"nul/x", L"nul\\x", kNoFile);
}

TEST_F(NamesTest, OfPortsAndConsolesGoThereOrFail) {
  swallowedOrNotOpened(L"com1", L"\\\\.\\com1");
  swallowedOrNotOpened(L"aux", L"\\\\.\\aux");
  swallowedOrNotOpened(L"lpt1", L"\\\\.\\lpt1");
  swallowedOrNotOpened(L"prn.txt", L"\\\\.\\prn");
  swallowedOrNotOpened(L"con", L"\\\\.\\con");
  swallowedOrNotOpened(L"con.txt", L"\\\\.\\con");
  swallowedOrNotOpened(L"conout$", L"\\\\.\\conout$");
}

// ---- Dots and blanks

TEST_F(NamesTest, LoseDotsAndBlanksAtTheEnd) {
  written({{L"readme.txt.", "1"}}, {{L"readme.txt", "1"}});
  written({{L"readme.txt ", "2"}}, {{L"readme.txt", "2"}});
  written({{L"readme.txt. . ", "3"}}, {{L"readme.txt", "3"}});
  written({{L"sub./x", "4"}}, {{L"sub\\x", "4"}});
  written({{L"a...b", "5"}}, {{L"a...b", "5"}});
  written({{L"a\u00A0", "6"}}, {{L"a\u00A0", "6"}});  // no blank to the system
}

// What comes later in the order of names is written over what was there.
TEST_F(NamesTest, ThatMeanTheModuleAreWrittenOverIt) {
  const std::wstring names[] = {L"zuimpl.dll.", L"zuimpl.dll ", L"zuimpl.dll..."};
  for (const std::wstring& name : names) {
    SCOPED_TRACE(toUtf8(name));
    written({{name, implementation}}, {});
    expectUnpackedOnly(packed({{name, "another"}}));
  }
}

TEST_F(NamesTest, OfDotsAndBlanksOnlyAreTheDirectoryItself) {
  notOpened(L".", kDenied);
  notOpened(L" ", kDenied);
  notOpened(L". ", kDenied);
  notOpened(L".. ", kDenied);
  notOpened(L"...", kDenied);
  notOpened(L"a/. ", L"a\\. ", kDenied);
}

// As a directory's name it is what it looks like, and not the parent.
TEST_F(NamesTest, OfTwoDotsAndABlankDoNotLeadUpwards) {
  notOpened(L".. /x", L".. \\x", kNoFile);
  notOpened(L".. ./x", L".. .\\x", kNoFile);
  notOpened(L"a/.. /x", L"a\\.. \\x", kNoFile);
  notOpened(L"a/.. /.. /x", L"a\\.. \\.. \\x", kNoFile);
  notOpened(L"sub /x", L"sub \\x", kNoFile);
  refused({{L"sub /y/x", "x"}}, L"Unzip file fail! Create sub directory error: 3, path: <temporary>\\sub \\y");
  notOpened(L". ./x", L". .\\x", kNoFile);
  elsewhere = {L"<temporary>\\..\\x"};  // how Wine writes it, and then refuses it
  notOpened(L".../x", L"...\\x", kInvalid);
}

// Such a directory is made where an empty component follows, or one of dots and blanks. It can be removed again.
TEST_F(NamesTest, OfDirectoriesThatEndInABlankLeaveNoneBehind) {
  written({{L".. //x", "x"}}, {{L".. \\x", "x"}});
  for (const wchar_t* name : {L"sub ", L"sub. "}) {
    refused({{std::wstring(name) + L"//x", "x"}},
            std::wstring(L"Unzip file fail! Invalid parent directory, attributes: 4294967295, error: 2, path: "
                         L"<temporary>\\") +
                name);
  }
}

// ---- Separators and colons

TEST_F(NamesTest, AreSeparatedByEitherSeparator) {
  written({{L"a\\b/c", "1"}, {L"a/b\\d", "2"}, {L"a\\e", "3"}}, {{L"a\\b\\c", "1"}, {L"a\\b\\d", "2"}, {L"a\\e", "3"}});
  written({{L"a//b", "1"}, {L"a\\\\c", "2"}, {L"a/\\/d", "3"}}, {{L"a\\b", "1"}, {L"a\\c", "2"}, {L"a\\d", "3"}});
  written({{L"./x", "1"}, {L"a/./b", "2"}, {L".\\y", "3"}}, {{L"x", "1"}, {L"a\\b", "2"}, {L"y", "3"}});
  written({{L"..\uFF0Fx", "1"}, {L"..\u2215y", "2"}}, {{L"..\uFF0Fx", "1"}, {L"..\u2215y", "2"}});  // they only look so
}

TEST_F(NamesTest, ThatEndInASeparatorAreNoFiles) {
  notOpened(L"a/", L"a\\", kDenied);
  notOpened(L"a\\", kDenied);
  notOpened(L"./", L".\\", kDenied);
}

// Windows writes a stream of the file before the colon, below the same directory; "zuimpl.dll::$DATA" is the module
// itself, whose digest is looked at afterwards. To Wine these are ordinary names.
TEST_F(NamesTest, WithAColonBehindMoreThanOneCharacterAreNoDrives) {
  written({{L"ab:c", "1"}}, {{L"ab:c", "1"}});
  written({{L"ab:c/d", "2"}}, {{L"ab:c\\d", "2"}});
  written({{L"sub/c:x", "3"}}, {{L"sub\\c:x", "3"}});
  written({{L"zuimpl.dll:stream", "4"}}, {{L"zuimpl.dll:stream", "4"}});
  written({{L"zuimpl.dll::$DATA", "5"}}, {{L"zuimpl.dll::$DATA", "5"}});
}

// ---- Lengths

TEST_F(NamesTest, OfAsManyCharactersAsAFileMayHaveAreWritten) {
  const std::wstring name(255, L'n');
  written({{name, "1"}}, {{name, "1"}});
}

// Legal, but longer than a file's name or, with the directories before it, a path may be.
TEST_F(NamesTest, Of260CharactersAreLegalAndCannotBeWritten) {
  notOpened(std::wstring(260, L'n'), kNoFile);
  std::wstring path;
  while (path.size() < 250) path += L"ninechars/";
  path += L"123456.txt";
  ASSERT_EQ(path.size(), 260u);
  std::wstring parent = path.substr(0, 249);
  std::ranges::replace(parent, L'/', L'\\');
  // Windows says before this that it cannot make the directory; Wine makes a part of it and calls that done.
  refused({{path, "x"}},
          L"Unzip file fail! Invalid parent directory, attributes: 4294967295, error: 3, path: <temporary>\\" + parent);
}

// ---- Letter case, and names that meet

TEST_F(NamesTest, OfTheModuleMayBeInCapitals) {
  expectPublished(PackageBuilder("copy").add(L"ZUIMPL.DLL", implementation).build(), {{L"ZUIMPL.DLL", implementation}});
  expectPublished(PackageBuilder("copy").add(L"ZuImpl.Dll", implementation).build(), {{L"ZuImpl.Dll", implementation}});
}

// Capitals come first in the order of names, and keep the name.
TEST_F(NamesTest, ThatDifferInLetterCaseAreOneFile) {
  written({{L"Readme.txt", "second"}, {L"README.TXT", "first"}}, {{L"README.TXT", "second"}});
  written({{L"Sub/x", "1"}, {L"sub/y", "2"}, {L"SUB/X", "3"}}, {{L"SUB\\X", "1"}, {L"SUB\\y", "2"}});
  expectPublished(PackageBuilder("copy").add(L"ZUIMPL.DLL", "another").add(L"zuimpl.dll", implementation).build(),
                  {{L"ZUIMPL.DLL", implementation}});
  expectUnpackedOnly(PackageBuilder("copy").add(L"ZUIMPL.DLL", implementation).add(L"zuimpl.dll", "another").build());
}

TEST_F(NamesTest, OfAFileAndADirectoryAtOnceCannotBeWritten) {
  refused(
      {{L"a", "1"}, {L"a/b", "2"}},
      L"Unzip file fail! Open output file failed, path: <temporary>\\a\\b, errno: 2, msg: No such file or directory");
  refused({{L"A/b", "1"}, {L"a", "2"}},
          L"Unzip file fail! Open output file failed, path: <temporary>\\a, errno: 13, msg: Permission denied");
  notOpened(L"zuimpl.dll/x", L"zuimpl.dll\\x", kNoFile);
  refused(
      {{L"ZUIMPL.DLL/x", "1"}},
      L"Unzip file fail! Open output file failed, path: <temporary>\\zuimpl.dll, errno: 13, msg: Permission denied");
}

// ---- Characters

TEST_F(NamesTest, WithCharactersThatNoFileMayHaveCannotBeWritten) {
  for (const wchar_t* name :
       {L"a\x01z", L"a\nz", L"a\tz", L"a\x1Fz", L"a*z", L"a?z", L"a|z", L"a<z", L"a>z", L"a\"z"}) {
    notOpened(name, kInvalid);
  }
}

TEST_F(NamesTest, OfAnyOtherCharactersAreWrittenAsTheyAre) {
  for (const wchar_t* name : {L"a\x7Fz", L"\u202Egpj.exe", L"\uFEFFx", L"%TEMP%", L"~", L"$Extend", L"-rf", L"x.lnk",
                              L"\u00DCn\u00EF \u6587\u4EF6 \U0001F388.txt", L" x", L"'; --"}) {
    written({{name, "x"}}, {{name, "x"}});
  }
}

}  // namespace
}  // namespace zuvia::test
