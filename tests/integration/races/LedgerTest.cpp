// The judge of the races: it finds each fault, and none where there is none.
#include "integration/races/Ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// An event 0 and listeners 0 and 1, of the ids 100 and 101, unless a test says otherwise.
class LedgerTest : public testing::Test {
 protected:
  void registerListener(std::uint64_t id) { ledger.endRegistration(*ledger.beginListener(), id); }
  void removeListener(std::size_t listener) {
    ledger.beginRemoval(listener);
    ledger.endRemoval(listener);
  }
  void raise(const std::function<void()>& calls) {
    const std::size_t event = *ledger.beginEvent();
    calls();
    ledger.endEvent(event);
  }

  Ledger ledger{4, 4, 8};
};

TEST_F(LedgerTest, FindsNoFaultWhereEveryListenerHearsOnce) {
  registerListener(100);
  registerListener(101);
  raise([&] {
    ledger.call(0, 0);
    ledger.call(1, 0);
  });
  removeListener(0);
  raise([&] { ledger.call(1, 1); });
  EXPECT_THAT(ledger.faults(), IsEmpty());
  EXPECT_THAT(ledger.callsOfEvents(), ElementsAre(std::pair(0, 2), std::pair(1, 1)));
}

TEST_F(LedgerTest, LeavesOpenWhatHappensDuringARegistrationOrRemoval) {
  for (const bool heard : {false, true}) {
    Ledger open(1, 2, 2);
    const std::size_t leaving = *open.beginListener();
    open.endRegistration(leaving, 100);
    const std::size_t coming = *open.beginListener();
    const std::size_t event = *open.beginEvent();
    if (heard) open.call(leaving, event);
    open.endRegistration(coming, 101);
    if (heard) open.call(coming, event);
    open.beginRemoval(leaving);
    open.endRemoval(leaving);
    open.endEvent(event);
    EXPECT_THAT(open.faults(), IsEmpty()) << heard;
  }
}

TEST_F(LedgerTest, FindsAListenerThatIsNotCalled) {
  registerListener(100);
  raise([] {});
  EXPECT_THAT(ledger.faults(), ElementsAre("listener 0 event 0: not called"));
}

TEST_F(LedgerTest, FindsAListenerThatIsCalledTwice) {
  registerListener(100);
  raise([&] {
    ledger.call(0, 0);
    ledger.call(0, 0);
  });
  EXPECT_THAT(ledger.faults(), ElementsAre("listener 0 event 0: called 2 times"));
}

TEST_F(LedgerTest, FindsAListenerThatIsCalledAfterItsRemoval) {
  registerListener(100);
  removeListener(0);
  raise([&] { ledger.call(0, 0); });
  EXPECT_THAT(ledger.faults(), ElementsAre("listener 0 event 0: called after its removal"));
}

TEST_F(LedgerTest, FindsAListenerThatIsCalledForWhatWasBeforeIt) {
  raise([] {});
  registerListener(100);
  ledger.call(0, 0);
  EXPECT_THAT(ledger.faults(), ElementsAre("listener 0 event 0: called after the end",
                                           "listener 0 event 0: called before its registration"));
}

TEST_F(LedgerTest, FindsListenersOutOfOrder) {
  registerListener(101);
  registerListener(100);
  raise([&] {
    ledger.call(0, 0);
    ledger.call(1, 0);
  });
  EXPECT_THAT(ledger.faults(), ElementsAre("listener 1 event 0: called after a later listener"));
}

TEST_F(LedgerTest, SaysWhenThereIsNoRoom) {
  Ledger small(1, 1, 1);
  small.endRegistration(*small.beginListener(), 100);
  EXPECT_EQ(small.beginListener(), std::nullopt);
  const std::size_t event = *small.beginEvent();
  EXPECT_EQ(small.beginEvent(), std::nullopt);
  small.call(0, event);
  small.call(0, event);
  small.endEvent(event);
  EXPECT_THAT(small.faults(), ElementsAre("1 calls found no room"));
}

}  // namespace
}  // namespace zuvia::test
