#include "integration/order/Story.h"

#include <algorithm>

namespace zuvia::test {

std::vector<Sequence> allSequences(const std::vector<Step>& steps, std::size_t length) {
  std::vector<Sequence> sequences{{}};
  for (std::size_t i = 0; i < length; ++i) {
    std::vector<Sequence> longer;
    for (const Sequence& sequence : sequences) {
      for (const Step step : steps) {
        longer.push_back(sequence);
        longer.back().push_back(step);
      }
    }
    sequences = std::move(longer);
  }
  return sequences;
}

std::vector<Sequence> allOrders(std::vector<Step> steps) {
  std::vector<Sequence> orders;
  std::ranges::sort(steps);
  do {
    orders.push_back(steps);
  } while (std::next_permutation(steps.begin(), steps.end()));
  return orders;
}

Sequence doubled(const Sequence& sequence) {
  Sequence result;
  for (const Step step : sequence) result.insert(result.end(), 2, step);
  return result;
}

Sequence repeated(const Sequence& sequence) {
  Sequence result = sequence;
  result.insert(result.end(), sequence.begin(), sequence.end());
  return result;
}

Sequence waiting(const Sequence& sequence) {
  Sequence result;
  for (const Step step : sequence) {
    result.push_back(step);
    if (step == Step::HostInformation) result.push_back(Step::Wait);
  }
  return result;
}

std::string nameOf(const Sequence& sequence) {
  static constexpr const char* kNames[] = {"Load", "HostInformation", "Wait", "Unload", "Raise"};
  std::string name;
  for (const Step step : sequence) {
    if (!name.empty()) name += ", ";
    name += kNames[static_cast<std::size_t>(step)];
  }
  return name;
}

}  // namespace zuvia::test
