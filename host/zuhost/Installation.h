#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ModuleUsers.h"

// What an installed plugin finds around itself: looked at, and nothing else. Nothing is written, loaded,
// locked or waited for; a file is open for reading only while its content is taken, and others may do
// with it meanwhile whatever they like.
namespace zuhost {

// An implementation module below the plugin's directory.
struct FoundModule {
  std::wstring path;                   // relative to the plugin's directory
  std::optional<std::string> version;  // four numbers; nothing: it cannot be read, and the module is no candidate
  std::string fault;                   // why it is no candidate, or why it would not load; "" when neither is known
  std::vector<ModuleUser> users;
};

// A direct child of the plugin's directory.
struct FoundDirectory {
  enum class Kind {
    Version,     // with its module
    Incomplete,  // the name of a version, but no module: what a removal or a person left
    Temporary,   // an update unpacks into it, or died there
    Link,        // not followed
    Other,
  };

  std::wstring name;
  Kind kind;
  uint64_t files = 0;  // in it and everything below; of a link nothing
  uint64_t bytes = 0;
  int64_t ageSeconds = 0;  // since its list of files changed last
};

struct FoundFile {
  std::wstring name;
  uint64_t bytes = 0;
  int64_t ageSeconds = 0;  // since it was written last
};

// One exchange with the configuration service, as the cache keeps it.
struct CachedAnswer {
  std::string url;
  int64_t milliseconds = 0;  // when it was stored, since 1970-01-01 UTC
  std::string meaning;       // what it offers
};

struct Caches {
  std::wstring directory;
  std::optional<std::string> hitSequence;
  std::optional<uint64_t> answerBytes;  // of the file of answers; nothing: there is none
  std::string answerFault;              // why the file is not understood
  std::vector<CachedAnswer> answers;
  std::vector<FoundFile> packages;  // downloads that were not deleted
};

struct Installation {
  std::wstring root;    // the plugin's directory
  std::wstring plugin;  // its file name
  bool isPluginThere = false;
  std::optional<std::string> pluginVersion;
  std::vector<ModuleUser> pluginUsers;
  std::vector<FoundModule> modules;  // candidates first, in the order in which a load tries them
  std::optional<size_t> chosen;      // which of them a load would take, as far as the files tell
  std::vector<FoundDirectory> directories;
  std::vector<FoundFile> files;       // beside the plugin
  std::vector<std::string> messages;  // what the plugin's scan would log about directories
  Caches caches;
};

// plugin: the plugin's file. appPath: the host's application path.
// Which modules are candidates, and their order, is decided by the plugin's own code, built into this
// program. Whether a module would load is told from its file: by its processor, its export and the
// libraries that it needs, looked for where a load looks for them. What only running it can tell, such
// as a createImpl that returns null, is not known.
// On this thread, whose log lines are caught meanwhile. Throws std::bad_alloc only.
Installation lookAt(const std::filesystem::path& plugin, const std::filesystem::path& appPath);

// Where the plugin keeps its caches when a host names no application path.
std::filesystem::path defaultAppPath();

}  // namespace zuhost
