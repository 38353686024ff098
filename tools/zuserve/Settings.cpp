#include "zuserve/Settings.h"

#include <cmath>
#include <memory>

#include <json/json.h>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

Json::Value parseObject(const std::string& json) {
  Json::CharReaderBuilder options;
  options["failIfExtra"] = true;
  options["rejectDupKeys"] = true;
  const std::unique_ptr<Json::CharReader> reader(options.newCharReader());
  Json::Value value;
  bool isObject = false;
  try {
    isObject = reader->parse(json.data(), json.data() + json.size(), &value, nullptr) && value.isObject();
  } catch (const Json::Exception&) {  // nested too deep
  }
  if (!isObject || value.empty()) {
    throw tools::Failure("not a JSON object with share, hostVersion, paused or fault in it");
  }
  return value;
}

std::string textOf(const std::string& name, const Json::Value& value) {
  if (!value.isString()) throw tools::Failure(name + " is not a text");
  return value.asString();
}

void change(Settings& settings, const std::string& name, const Json::Value& value) {
  if (name == "share") {
    if (!value.isNumeric()) throw tools::Failure("share is not a number");
    settings.share = tools::Share::ofPercent(value.asDouble());
  } else if (name == "hostVersion") {
    settings.hostVersion = HostVersionRule::parse(textOf(name, value));
  } else if (name == "paused") {
    if (!value.isBool()) throw tools::Failure("paused is neither true nor false");
    settings.isPaused = value.asBool();
  } else if (name == "fault") {
    settings.fault = Fault::parse(textOf(name, value));
  } else {
    throw tools::Failure("there is no setting " + tools::quoted(name));
  }
}

// Why a host is offered nothing although there is something; empty when it is offered that.
std::string obstacle(const Settings& settings, const std::string& version, const std::string& uid,
                     const std::string& hostVersion) {
  if (settings.isPaused) return "paused";
  if (!settings.hostVersion.fits(hostVersion)) return "host version does not fit " + settings.hostVersion.text();
  if (!settings.share.includes(uid + ' ' + version)) return "user not among the " + settings.share.text() + " %";
  return {};
}

// Another digit in front.
std::string wrongDigest(std::string digest) {
  digest.front() = digest.front() == '0' ? '1' : '0';
  return digest;
}

}  // namespace

Json::Value settingsValue(const Settings& settings) {
  Json::Value value(Json::objectValue);
  const double percent = settings.share.percent();
  value["share"] = percent == std::floor(percent) ? Json::Value(static_cast<int>(percent)) : Json::Value(percent);
  value["hostVersion"] = settings.hostVersion.text();
  value["paused"] = settings.isPaused;
  value["fault"] = settings.fault.text();
  return value;
}

Settings changedSettings(Settings settings, const std::string& json) {
  const Json::Value value = parseObject(json);
  for (const std::string& name : value.getMemberNames()) change(settings, name, value[name]);
  return settings;
}

Settings SharedSettings::get() const {
  const std::lock_guard lock(mutex_);
  return settings_;
}

Settings SharedSettings::change(const std::string& json) {
  const std::lock_guard lock(mutex_);
  settings_ = changedSettings(settings_, json);
  return settings_;
}

Decision decide(const Settings& settings, const Offer& offer, const std::string& uid, const std::string& hostVersion) {
  if (!offer.entry) return {std::nullopt, "no entry in the site"};
  std::string reason = obstacle(settings, offer.entry->ver, uid, hostVersion);
  if (!reason.empty()) return {std::nullopt, reason};
  Decision decision{offer.entry, "newest entry"};
  if (!settings.share.isEverybody()) decision.reason += ", user among the " + settings.share.text() + " %";
  if (settings.fault.kind == Fault::Kind::BadMd5) {
    decision.entry->pmd5 = wrongDigest(decision.entry->pmd5);
    decision.reason += ", fault badmd5";
  }
  return decision;
}

}  // namespace zuvia::zuserve
