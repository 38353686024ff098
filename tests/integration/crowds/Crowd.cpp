#include "integration/crowds/Crowd.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <sstream>

#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

template <typename Element>
std::vector<Element> from(std::size_t first, const std::vector<Element>& elements) {
  return {elements.begin() + static_cast<std::ptrdiff_t>(std::min(first, elements.size())), elements.end()};
}

// The last one that a host loaded; "": none.
std::wstring versionLoaded(const std::vector<WideText>& messages) {
  const auto loaded = std::find_if(messages.rbegin(), messages.rend(), [](const WideText& message) {
    return message.starts_with(L"Load plugin success, path: ");
  });
  return loaded == messages.rend() ? L"" : loaded->substr(loaded->rfind(L' ') + 1);
}

}  // namespace

void Crowd::add(std::size_t number, const Offer& offer, unsigned short port) {
  for (std::size_t i = 0; i < number; ++i) members_.emplace_back(tree_, offer, port);
}

std::set<std::wstring> Crowd::load() {
  for (Member& member : members_) {
    if (lives(member)) member.host.begin("load");
  }
  std::set<std::wstring> versions;
  for (Member& member : members_) {
    if (!lives(member)) continue;
    member.host.finish();
    versions.insert(versionLoaded(from(member.firstMessage, member.host.messages())));
  }
  return versions;
}

void Crowd::inform(std::size_t index) {
  inform(members_[index]);
}

void Crowd::informAll() {
  for (Member& member : members_) {
    if (!member.informed && lives(member)) inform(member);
  }
}

void Crowd::inform(Member& member) {
  member.informed = true;
  member.host.begin("info");
}

std::string Crowd::settle(unsigned milliseconds) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (!isSettled()) {
    if (Clock::now() > deadline) return whoHoldsWhat();
    Sleep(100);
  }
  return {};
}

Ending Crowd::ending(std::size_t index) {
  return endingOf(members_[index]);
}

std::map<Ending, std::size_t> Crowd::endings() {
  std::map<Ending, std::size_t> endings;
  for (Member& member : members_) {
    if (member.informed && lives(member)) ++endings[endingOf(member)];
  }
  return endings;
}

void Crowd::unload() {
  for (Member& member : members_) {
    if (!lives(member)) continue;
    if (member.informed) member.host.finish();
    member.host.begin("unload");
  }
  for (Member& member : members_) {
    if (!lives(member)) continue;
    member.host.finish(120000);
    member.informed = false;
    member.firstMessage = member.host.messages().size();
    member.firstEvent = member.host.events().size();
  }
}

std::vector<WideText> Crowd::newMessages() {
  std::vector<WideText> all;
  for (Member& member : members_) {
    const std::vector<WideText> messages = member.host.messages();
    std::ranges::copy(from(member.reported, messages), std::back_inserter(all));
    member.reported = messages.size();
  }
  return all;
}

std::size_t Crowd::count(const std::wstring& message) {
  return static_cast<std::size_t>(std::ranges::count_if(
      members_, [&](Member& member) { return std::ranges::count(member.host.messages(), message) != 0; }));
}

Ending Crowd::endingOf(Member& member) {
  return test::endingOf(from(member.firstMessage, member.host.messages()),
                        from(member.firstEvent, member.host.events()), member.offer, tree_);
}

bool Crowd::isSettled() {
  return std::ranges::all_of(members_, [this](Member& member) {
    return !member.informed || endingOf(member) != Ending::Open || !lives(member);
  });
}

std::string Crowd::whoHoldsWhat() {
  std::ostringstream text;
  std::set<std::wstring> locks = {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginCleanup"};
  std::size_t index = 0;
  for (Member& member : members_) {
    const std::vector<WideText> messages = member.host.messages();
    text << "host " << index++ << ", offered " << member.offer.version << ", "
         << (lives(member) ? nameOf(endingOf(member)) : "dead") << ": "
         << (messages.empty() ? "nothing said" : toUtf8(messages.back())) << '\n';
    for (const auto& [lock, step] : member.host.locks()) text << "  " << step << ' ' << lock << '\n';
    locks.insert(L"Local\\ZuviaPluginUpdate-" + toWide(member.offer.version));
  }
  SecondProcess second;
  for (const std::wstring& lock : locks) text << toUtf8(lock) << " is " << nameOf(second.tryMutex(lock)) << '\n';
  return text.str();
}

}  // namespace zuvia::test
