#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace zuvia::test {

// What this process has open: for each type of object ("File", "Mutant", "Event", …) how many handles, and
// under "running threads" how many threads.
using HandleCount = std::map<std::string, std::size_t>;

// Counts now. Throws std::runtime_error when the system does not tell.
HandleCount countHandles();

// Says in one line each what there is more of in `after`; "" when there is nothing more.
std::string describeGrowth(const HandleCount& before, const HandleCount& after);

// Fails the test when more handles or threads are there at its end than at its beginning. Something that ends
// by itself, such as the last steps of a thread, is given two seconds.
//
// Much is opened once per process, at first use: do the tested thing once before.
class HandleCheck {
 public:
  HandleCheck() : before_(countHandles()) {}
  ~HandleCheck();

  HandleCheck(const HandleCheck&) = delete;
  HandleCheck& operator=(const HandleCheck&) = delete;

 private:
  HandleCount before_;
};

}  // namespace zuvia::test
