// Before windows.h.
#include "support/Sockets.h"

#include "integration/site/PublishedSite.h"

#include <json/json.h>

#include <sstream>

#include "integration/PluginTest.h"

namespace zuvia::test {
namespace {

unsigned short freePort() {
  const SocketLibrary library;
  return portOf(listenOnLoopback());
}

Json::Value parsed(const std::string& text) {
  Json::Value value;
  std::string errors;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors << text;
  return value;
}

}  // namespace

std::string versionIn(const HttpAnswer& answer) {
  EXPECT_EQ(answer.status, 200) << answer.head;
  const Json::Value configs = parsed(answer.body)["configs"];
  EXPECT_TRUE(configs.isObject()) << answer.body;
  return configs.isMember("zu_plugin_update") ? parsed(configs["zu_plugin_update"].asString())["ver"].asString() : "";
}

PublishedSite::PublishedSite() : port(freePort()) {
  const tls::Certificate certificate = authority.issue({{kServerName, "localhost"}, {}, {}});
  writeFile(pathOf(L"chain.pem"), certificate.certificatePem);
  writeFile(pathOf(L"key.pem"), certificate.keyPem);
}

std::wstring PublishedSite::pack(const std::wstring& version) {
  const Ended ended = runTool(L"zupack.exe", {L"pack", L"--module", sampleFile(version), L"--url", L"https://unused",
                                              L"--out", pathOf(L"packages")});
  EXPECT_EQ(ended.status, 0u) << ended.error;
  return pathOf(L"packages\\zuimpl-" + version + L".7z");
}

void PublishedSite::site(std::vector<std::wstring> options) {
  options.insert(options.begin(), {L"site", pathOf(L"site")});
  if (!isMade_) {
    options.insert(options.end(), {L"--server", toWide(kServerName), L"--url", L"https://config.zuvia.example",
                                   L"--listen", L"127.0.0.1:" + std::to_wstring(port), L"--root", linuxPathOf(L"site"),
                                   L"--certificate", linuxPathOf(L"chain.pem"), L"--key", linuxPathOf(L"key.pem")});
  }
  const Ended ended = runTool(L"zupack.exe", options);
  ASSERT_EQ(ended.status, 0u) << ended.error;
  isMade_ = true;
}

void PublishedSite::serve() {
  if (nginx_) {
    nginx_->reload();
  } else {
    nginx_ = std::make_unique<Nginx>(linuxPathOf(L"site/nginx.conf"));
  }
}

std::string PublishedSite::configurationRequest(unsigned uid) {
  const std::string body = R"({"bssCode":"zu_kx_anchor","extendInfo":{"zuuid":")" + std::to_string(uid) + "\"}}";
  return "POST /configs/pc/post HTTP/1.1\r\nHost: config.zuvia.example\r\nContent-Type: "
         "application/json;charset=UTF-8\r\n"
         "uid: " +
         std::to_string(uid) + "\r\nsid: 0\r\nssid: 0\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

std::string PublishedSite::offeredTo(unsigned uid) const {
  return versionIn(client().ask(configurationRequest(uid)));
}

}  // namespace zuvia::test
