#include "integration/PluginTest.h"

#include <json/json.h>

#include <algorithm>
#include <chrono>

#include "support/Digest.h"
#include "support/Files.h"
#include "support/HostInformation.h"
#include "support/PackageBuilder.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

std::string compactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace

std::string Offer::entry() const {
  Json::Value value;
  value["ver"] = version;
  value["pmd5"] = pmd5;
  value["dmd5"] = dmd5;
  value["url"] = url;
  return compactJson(value);
}

std::string Offer::answer() const {
  return answerWith(entry());
}

Offer makeOffer(const std::string& version) {
  const std::string content = readFile(moduleFile(toWide(version)));
  const std::string package =
      PackageBuilder().add(L"zuimpl.dll", content).add(L"sub/companion.txt", "companion").build();
  return {version, package, md5(package), md5(content), "https://config.zuvia.example/zuimpl-" + version + ".7z"};
}

std::string answerWith(const std::string& entry) {
  Json::Value value;
  value["configs"]["zu_plugin_update"] = entry;
  return compactJson(value);
}

std::wstring sampleFile(const std::wstring& version) {
  return parentOf(programDirectory()) + L"\\sample\\" + version + L"\\zuimpl.dll";
}

PluginTest::PluginTest()
    : module(LoadLibraryW(tree.installPlugin().c_str())),
      network(module, {{"config.zuvia.example", 443, server.port()}, {"localhost", 18443, server.port()}}),
      create(reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module, kCreateExport)))) {}

PluginTest::~PluginTest() {
  if (plugin != nullptr) plugin->onUnload();
  // A module with OpenSSL in it keeps itself loaded until the process ends.
  removeThroughLinux(tree.base());
}

std::string PluginTest::hostInformation(const std::string& members) const {
  return test::hostInformation(toUtf8(tree.appPath()), members);
}

void PluginTest::serve(const Offer& offer) {
  serveEntry(offer.entry());
  server.expect("GET", "/zuimpl-" + offer.version + ".7z", Answer::respond(200, offer.package));
}

void PluginTest::serveEntry(const std::string& entry) {
  server.expect("POST", "/configs/pc/post", Answer::respond(200, answerWith(entry)));
}

void PluginTest::load() {
  if (!fileExists(modulePath(L"2.0.0.45"))) addVersion(L"2.0.0.45");
  monitor().addListener([this](const char* name, const char* data) {
    const std::lock_guard lock(mutex_);
    events_.push_back({std::string(name) + '=' + data, GetCurrentThreadId()});
    raised_.notify_all();
  });
  entry().onLoaded("C:\\host");
  ASSERT_TRUE(loader().isLoaded());
  log.clear();
  const std::lock_guard lock(mutex_);
  events_.clear();
}

void PluginTest::exchange() {
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  // The last line of an exchange that brought an answer, or did not.
  EXPECT_TRUE(log.waitForStart(L"onFetch ") || log.waitForStart(L"OnResponse "));
}

unsigned long PluginTest::waitForEvent(const std::string& text, unsigned milliseconds) {
  std::unique_lock lock(mutex_);
  auto found = events_.end();
  raised_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] {
    found = std::ranges::find(events_, text, &Event::text);
    return found != events_.end();
  });
  return found == events_.end() ? 0 : found->threadId;
}

std::vector<std::string> PluginTest::events() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (const Event& event : events_) texts.push_back(event.text);
  return texts;
}

std::vector<WideText> PluginTest::messagesOf(unsigned long threadId) const {
  std::vector<WideText> messages;
  for (const LogLine& line : log.lines()) {
    if (line.threadId == threadId) messages.push_back(line.message);
  }
  return messages;
}

unsigned long PluginTest::threadOf(const std::wstring& start) const {
  EXPECT_TRUE(log.waitForStart(start, 20000))
      << toUtf8(start) << " is not in " << testing::PrintToString(log.messages());
  for (const LogLine& line : log.lines()) {
    if (line.message.starts_with(start)) return line.threadId;
  }
  return 0;
}

}  // namespace zuvia::test
