#include "zupack/SiteSettings.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include <json/json.h>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr const char* kHttpsPort = "443";
constexpr int kMaxPort = 65535;
constexpr std::size_t kMaxPortDigits = 5;

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool consistsOf(std::string_view text, std::string_view marks, bool (*isMember)(char)) {
  return !text.empty() && std::ranges::all_of(text, [&](char character) {
    return isMember(character) || marks.find(character) != std::string_view::npos;
  });
}

bool isLetterOrDigit(char character) {
  return isLetter(character) || isDigit(character);
}

std::string portOf(const std::string& listen) {
  const std::size_t colon = listen.rfind(':');
  return colon == std::string::npos ? listen : listen.substr(colon + 1);
}

bool isAddress(std::string_view text) {
  if (text.starts_with('[') && text.ends_with(']')) {
    return consistsOf(text.substr(1, text.size() - 2), ":.abcdefABCDEF", isDigit);
  }
  return consistsOf(text, ".", isDigit);
}

bool isPort(const std::string& text) {
  if (!consistsOf(text, "", isDigit) || text.size() > kMaxPortDigits) return false;
  const int port = std::stoi(text);
  return port > 0 && port <= kMaxPort;
}

Json::Value packageValue(const std::optional<SitePackage>& package) {
  if (!package) return {};
  Json::Value value(Json::objectValue);
  value["name"] = package->name;
  value["ver"] = package->ver;
  value["pmd5"] = package->pmd5;
  value["dmd5"] = package->dmd5;
  return value;
}

std::optional<SitePackage> parsePackage(const Json::Value& value) {
  if (value.isNull()) return std::nullopt;
  return SitePackage{value["name"].asString(), value["ver"].asString(), value["pmd5"].asString(),
                     value["dmd5"].asString()};
}

Json::Value parseObject(const std::string& text) {
  Json::CharReaderBuilder settings;
  settings["failIfExtra"] = true;
  const std::unique_ptr<Json::CharReader> reader(settings.newCharReader());
  Json::Value value;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr) || !value.isObject()) {
    throw Failure("its settings are no JSON");
  }
  return value;
}

}  // namespace

std::string settingsText(const SiteSettings& settings) {
  Json::Value value(Json::objectValue);
  value["offered"] = packageValue(settings.offered);
  value["others"] = packageValue(settings.others);
  value["share"] = settings.share.text();
  value["server"] = settings.server;
  value["listen"] = settings.listen;
  value["root"] = settings.root;
  value["certificate"] = settings.certificate;
  value["key"] = settings.key;
  value["url"] = settings.url;
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, value);
}

SiteSettings parseSettings(const std::string& text) {
  try {
    const Json::Value value = parseObject(text);
    return {
        parsePackage(value["offered"]),  parsePackage(value["others"]), tools::Share::parse(value["share"].asString()),
        value["server"].asString(),      value["listen"].asString(),    value["root"].asString(),
        value["certificate"].asString(), value["key"].asString(),       value["url"].asString()};
  } catch (const Json::Exception& error) {
    throw Failure(std::string("its settings are not those of a site: ") + error.what());
  }
}

void checkServerName(const std::string& name) {
  if (consistsOf(name, ".-", isLetterOrDigit) && isLetterOrDigit(name.front()) && isLetterOrDigit(name.back())) return;
  throw Failure("--server must be a host name of ASCII letters, digits, dots and hyphens, but is " +
                tools::quoted(name));
}

void checkListen(const std::string& listen) {
  const std::size_t colon = listen.rfind(':');
  const bool hasAddress = colon != std::string::npos;
  if (isPort(portOf(listen)) && (!hasAddress || isAddress(std::string_view(listen).substr(0, colon)))) return;
  throw Failure("--listen must be a port, or a numeric address and a port (127.0.0.1:443, [::]:443), but is " +
                tools::quoted(listen));
}

// What would end a quoted text of nginx, or begin a variable in it, cannot be written into one.
void checkServerPath(const std::string& option, const std::string& path) {
  const bool isDrive = path.size() > 2 && isLetter(path[0]) && path[1] == ':' && path[2] == '/';
  const bool isPlain = std::ranges::none_of(path, [](char character) {
    return static_cast<unsigned char>(character) < ' ' ||
           std::string_view("\"\\$\x7F").find(character) != std::string_view::npos;
  });
  if ((path.starts_with('/') || isDrive) && isPlain) return;
  throw Failure(option + " must be an absolute path on the server, with / and without \", \\ and $, but is " +
                tools::quoted(path));
}

std::string siteUrl(const SiteSettings& settings) {
  if (!settings.url.empty()) return settings.url;
  const std::string port = portOf(settings.listen);
  return "https://" + settings.server + (port == kHttpsPort ? "" : ":" + port);
}

}  // namespace zuvia::zupack
