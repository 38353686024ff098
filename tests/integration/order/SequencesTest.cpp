// Every order in which a host can call its plugin, before a model of it.

// Before windows.h.
#include <winsock2.h>

#include <algorithm>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/order/Host.h"
#include "integration/order/Model.h"
#include "integration/order/OwnPlugin.h"
#include "integration/order/Story.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using enum Step;

// In the order in which Host tells it.
Story foretell(Model& model) {
  const auto isLog = [](const std::string& line) { return line.starts_with("log: "); };
  const auto isOther = [&](const std::string& line) { return !isLog(line) && !line.starts_with("implementation: "); };
  Story story = model.takeStory();
  for (auto begin = story.begin(); begin != story.end();) {
    const auto end = std::find_if(begin, story.end(), isOther);
    std::stable_partition(begin, end, isLog);
    begin = end == story.end() ? end : end + 1;
  }
  return story;
}

class SequencesTest : public PluginTest {
 protected:
  SequencesTest() { addVersion(L"2.0.0.45"); }

  // Plays one sequence after another, each with a fresh audience and an unload at its end.
  void play(const std::vector<Sequence>& sequences, Audience audience) {
    const std::string information = hostInformation();
    Host host(module, entry(), log, modulePath(L"2.0.0.45"), information);
    Model model({toUtf8(modulePath(L"2.0.0.45")), toUtf8(tree.appPath()), information});
    for (const Sequence& sequence : sequences) {
      SCOPED_TRACE(nameOf(sequence));
      host.beginAnew();
      host.invite(audience);
      model.invite(audience);
      for (const Step step : sequence) playStep(host, model, step);
      playStep(host, model, Unload);
      host.dismissAudience();
      model.dismissAudience();
      if (HasFailure()) return;
    }
  }

  static void playStep(Host& host, Model& model, Step step) {
    const bool awaitsFetch = model.awaitsFetch();
    model.take(step);
    EXPECT_EQ(host.take(step, awaitsFetch), foretell(model)) << "at " << nameOf(Sequence{step});
  }
};

// All that are shorter are the beginnings of these.
TEST_F(SequencesTest, OfFiveStepsGoAsForetold) {
  play(allSequences({Load, HostInformation, Wait, Unload}, 5), Audience::Recording);
}

// Load, host information and unload twice each, in all orders, with and without waiting for the fetches; and the four
// in all orders, each step twice in a row and the whole twice.
TEST_F(SequencesTest, OfEveryOrderTwiceGoAsForetold) {
  std::vector<Sequence> sequences;
  for (const Sequence& order : allOrders(doubled({Load, HostInformation, Unload}))) {
    sequences.push_back(order);
    sequences.push_back(waiting(order));
  }
  for (const Sequence& order : allOrders({Load, HostInformation, Wait, Unload})) {
    sequences.push_back(doubled(order));
    sequences.push_back(repeated(order));
  }
  play(sequences, Audience::Recording);
}

struct Listening {
  const char* name;
  Audience audience;
};

void PrintTo(const Listening& listening, std::ostream* stream) {
  *stream << listening.name;
}

class AudienceTest : public SequencesTest, public testing::WithParamInterface<Listening> {};

TEST_P(AudienceTest, HearsAndMeddlesAsForetold) {
  play(allSequences({Load, HostInformation, Unload, Raise}, 4), GetParam().audience);
}

INSTANTIATE_TEST_SUITE_P(Listeners, AudienceTest,
                         testing::Values(Listening{"None", Audience::None}, Listening{"Recording", Audience::Recording},
                                         Listening{"Meddling", Audience::Meddling},
                                         Listening{"ThrowsAtLoading", Audience::ThrowsAtLoading},
                                         Listening{"ThrowsAtLoaded", Audience::ThrowsAtLoaded},
                                         Listening{"ThrowsAtRaised", Audience::ThrowsAtRaised},
                                         Listening{"Empty", Audience::Empty},
                                         Listening{"AddsEmpty", Audience::AddsEmpty}),
                         [](const auto& test) { return std::string(test.param.name); });

// Destroyed through each interface in turn: an unload, and nothing else.
TEST_F(SequencesTest, MayEndWithADestruction) {
  const char* const interfaces[] = {IID_IZUPlugin, IID_IPluginEntryPoint, IID_IPluginLoader, IID_IWxMonitor};
  std::size_t number = 0;
  for (const Sequence& sequence : allSequences({Load, HostInformation, Wait, Unload}, 2)) {
    SCOPED_TRACE(nameOf(sequence));
    const OwnPlugin own(server.port());
    IPluginEntryPoint* const object = own.object();
    log.clear();
    {
      Host host(own.module(), *object, log, own.modulePath(), own.hostInformation());
      Model model({toUtf8(own.modulePath()), toUtf8(own.tree().appPath()), own.hostInformation()});
      model.invite(Audience::Recording);
      host.invite(Audience::Recording);
      for (const Step step : sequence) playStep(host, model, step);
      model.take(Unload);
      Story foretold = foretell(model);
      std::erase(foretold, "not loaded, 2, ");  // nobody can be asked any more
      const char* const iid = interfaces[number++ % std::size(interfaces)];
      EXPECT_EQ(host.tellOf([&] { own.destroyThrough(iid); }), foretold) << iid;
    }
    EXPECT_FALSE(own.implementationIsLoaded());
    EXPECT_EQ(own.object(), object) << "a new object was made";
  }
}

}  // namespace
}  // namespace zuvia::test
