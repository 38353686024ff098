#pragma once

#include <string>
#include <vector>

// What a host does with its plugin, step by step, and what it sees of it: told by the plugin itself (Host.h), and
// foretold by a model of it (Model.h). Both tell the same story, or a test fails.

namespace zuvia::test {

enum class Step {
  Load,             // onLoaded
  HostInformation,  // the command "setHostInfo"
  Wait,             // until the fetch that followed has ended
  Unload,           // onUnload
  Raise             // the implementation is asked to raise the event "outer" with the data "1"
};

using Sequence = std::vector<Step>;

// All sequences of this length.
std::vector<Sequence> allSequences(const std::vector<Step>& steps, std::size_t length);

// All orders of these steps.
std::vector<Sequence> allOrders(std::vector<Step> steps);

// Each step twice in a row; and the whole twice.
Sequence doubled(const Sequence& sequence);
Sequence repeated(const Sequence& sequence);

// With a Wait after each HostInformation.
Sequence waiting(const Sequence& sequence);

// For messages: "Load, Wait, Unload".
std::string nameOf(const Sequence& sequence);

// Who listens to the plugin.
enum class Audience {
  None,
  Recording,  // one that hears
  Meddling,   // at each event removes the listener that it added last, adds another, and raises "inner" at "outer"
  ThrowsAtLoading,  // the second of three throws at pluginLoadedEvent
  ThrowsAtLoaded,   // ... at pluginLoadedDoneEvent
  ThrowsAtRaised,   // ... at "outer"
  Empty,            // the second of three is an empty function
  AddsEmpty         // one that adds an empty function at pluginLoadedDoneEvent
};

// One line for each thing that happened, in its order.
using Story = std::vector<std::string>;

}  // namespace zuvia::test
