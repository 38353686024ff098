// The manual's way of a package from one machine to everyone, command by command.

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "integration/PluginTest.h"
#include "integration/site/PublishedSite.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;

constexpr const char* kSection = "\n## From one machine to everyone\n";
constexpr const char* kManualServer = "updates.example.com";

// The commands of a section of the manual, in their order: the lines of its blocks of code.
std::vector<std::string> commandsOf(const std::string& manual, const std::string& heading) {
  const std::size_t begin = manual.find(heading);
  if (begin == std::string::npos) throw std::runtime_error("the manual has no such section");
  const std::size_t end = manual.find("\n## ", begin + 1);
  std::istringstream text(manual.substr(begin + 1, end - begin));
  std::vector<std::string> commands;
  bool isCode = false;
  for (std::string line; std::getline(text, line);) {
    if (line == "```") {
      isCode = !isCode;
    } else if (isCode) {
      commands.push_back(line);
    }
  }
  return commands;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Where the sources lie, as Windows names it.
std::wstring manual() {
  std::wstring path = L"Z:" + toWide(ZUVIA_SOURCES) + L"/docs/zupack.md";
  std::ranges::replace(path, L'/', L'\\');
  return path;
}

class CommandLineTest : public PublishedSite {
 protected:
  // The manual's files, in a directory in which its commands are given.
  CommandLineTest() {
    copyFile(sampleFile(L"2.0.0.47"), pathOf(L"work\\build\\zuimpl.dll"));
    copyFile(moduleFile(L"2.0.1.0"), pathOf(L"work\\older\\zuimpl.dll"));
    std::filesystem::current_path(pathOf(L"work"));
  }
  ~CommandLineTest() override { std::filesystem::current_path(programDirectory()); }

  // Does what the command says, with this machine as the server. Returns whether nginx knows it now.
  bool carryOut(const std::string& command) {
    if (command.starts_with("zupack ")) {
      runZupack(command);
    } else if (command == "rsync -a site/ updates.example.com:/srv/zuvia/") {
      bringToServer();
    } else if (command == "ssh updates.example.com \"nginx -t && nginx -s reload\"") {
      serve();
      return true;
    } else {
      ADD_FAILURE() << "what does the manual mean by: " << command;
    }
    return false;
  }

  // Every file below the site is there afterwards as well, and nothing there goes away.
  static void bringToServer() {
    const std::wstring site = pathOf(L"work\\site");
    for (const auto& [name, what] : listTree(site)) {
      if (what != "directory") copyFile(joinPath(site, name), joinPath(pathOf(L"server"), name));
    }
  }

  void serve() {
    if (nginx_) {
      nginx_->reload();
    } else {
      nginx_ = std::make_unique<Nginx>(linuxPathOf(L"server/nginx.conf"));
    }
  }

 private:
  // The manual's places and names, as they are here.
  std::string translated(const std::string& word) const {
    std::string text = replaced(word, "/srv/zuvia", toUtf8(linuxPathOf(L"server")));
    text = replaced(text, "/etc/zuvia", toUtf8(Nginx::linuxDirectory()));
    return replaced(text, kManualServer, kServerName);
  }

  void runZupack(const std::string& command) {
    std::istringstream words(command);
    std::vector<std::wstring> arguments;
    std::string word;
    words >> word;
    while (words >> word) arguments.push_back(toWide(translated(word)));
    if (command.find(" --server ") != std::string::npos) {
      arguments.insert(arguments.end(), {L"--listen", L"127.0.0.1:" + std::to_wstring(port)});
    }
    const Ended ended = runTool(L"zupack.exe", arguments);
    EXPECT_EQ(ended.status, 0u) << command << '\n' << ended.error;
  }

  std::unique_ptr<Nginx> nginx_;
};

TEST_F(CommandLineTest, TheManualLeadsFromTenPercentToEveryoneAndBack) {
  std::vector<std::string> states;
  for (const std::string& command : commandsOf(readFile(manual()), kSection)) {
    if (!carryOut(command)) continue;
    std::size_t reached = 0;
    std::string version;
    TlsClient connection = client();
    for (unsigned user = 1; user <= 200; ++user) {
      const std::string offered = versionIn(connection.ask(configurationRequest(user)));
      if (offered.empty()) continue;
      ++reached;
      version = offered;
    }
    const std::string share = reached == 0 ? "nobody" : reached == 200 ? "everyone" : reached < 50 ? "some" : "many";
    states.push_back(share + ' ' + version);
  }
  EXPECT_THAT(states, ElementsAre("some 2.0.0.47", "everyone 2.0.0.47", "nobody ", "everyone 2.0.1.0"));
}

}  // namespace
}  // namespace zuvia::test
