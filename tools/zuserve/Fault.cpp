#include "zuserve/Fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zuserve {
namespace {

using Kind = Fault::Kind;

constexpr std::string_view kConfigurationPrefix = "config:";

enum class Amount { No, Optional, Required };

struct Form {
  Kind kind;
  std::string_view name;
  Amount amount;
  std::uint64_t least = 0;
  std::uint64_t most = 0;
  const char* hint = "";
};

constexpr std::uint64_t kMostBytes = 1'000'000'000'000;
constexpr std::array<Form, 6> kForms{{
    {Kind::None, "none", Amount::No},
    {Kind::Stall, "stall", Amount::Required, 0, kMostBytes, "a number of bytes, as in stall:65536"},
    {Kind::Cut, "cut", Amount::Optional, 0, kMostBytes, "a number of bytes, as in cut:1000, or nothing behind it"},
    {Kind::Status, "status", Amount::Required, 400, 599, "a status from 400 to 599, as in status:503"},
    {Kind::Slow, "slow", Amount::Required, 1, kMostBytes, "a number of bytes a second, as in slow:1000"},
    {Kind::BadMd5, "badmd5", Amount::No},
}};

std::optional<std::uint64_t> readAmount(const Form& form, std::string_view text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  if (isNumber && value >= form.least && value <= form.most) return value;
  throw tools::Failure(std::string(form.name) + " needs " + form.hint);
}

const Form& formNamed(std::string_view name) {
  const Form* const found = std::ranges::find(kForms, name, &Form::name);
  if (found != kForms.end()) return *found;
  throw tools::Failure("not a fault: " + tools::quoted(name) +
                       "; stall:BYTES, cut, cut:BYTES, status:CODE, slow:BYTES, badmd5 or none");
}

const Form& formOf(Kind kind) {
  return *std::ranges::find(kForms, kind, &Form::kind);
}

}  // namespace

Fault Fault::parse(std::string_view text) {
  if (text.empty()) return {};
  Fault fault;
  if (text.starts_with(kConfigurationPrefix)) {
    fault.target = Target::Configuration;
    text.remove_prefix(kConfigurationPrefix.size());
  }
  const std::size_t colon = text.find(':');
  const bool hasAmount = colon != std::string_view::npos;
  const Form& form = formNamed(text.substr(0, colon));
  fault.kind = form.kind;
  if (form.amount == Amount::No && (hasAmount || fault.target == Target::Configuration)) {
    throw tools::Failure(std::string(form.name) + " stands alone, without a number or config:");
  }
  if (hasAmount || form.amount == Amount::Required)
    fault.amount = readAmount(form, text.substr(form.name.size() + hasAmount));
  return fault;
}

std::string Fault::text() const {
  std::string text(target == Target::Configuration ? kConfigurationPrefix : "");
  text += formOf(kind).name;
  return amount ? text + ":" + std::to_string(*amount) : text;
}

}  // namespace zuvia::zuserve
