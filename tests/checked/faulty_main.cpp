// Does what its argument says, once wrongly, and then says "went on" with the status 0:
//
//   nothing     nothing wrong
//   overflow    an addition beyond the range of its type
//   shift       a shift by more than the width of its type
//   misaligned  a read at an address that does not fit its type
//   flag        a value that is no bool
//   index       an element after the last of a vector
//   optional    the value of an empty optional
//   copy        a copy beyond the end of an array

#include <windows.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

// Kept from the optimiser, which would otherwise know what comes.
template <typename Value>
Value unknown(Value value) {
  volatile Value hidden = value;
  return hidden;
}

int overflow() {
  return unknown(INT_MAX) + unknown(1);
}

int shift() {
  return unknown(1) << unknown(40);
}

int misaligned() {
  alignas(int) char bytes[8] = {};
  return *reinterpret_cast<const int*>(unknown(bytes + 1));
}

int flag() {
  bool value = false;
  const char two = unknown('\2');
  std::memcpy(&value, &two, 1);
  return unknown(value) ? 1 : 2;
}

int index() {
  const std::vector<int> three(3);
  return three[unknown(std::size_t{3})];
}

int optional() {
  const std::optional<int> empty = unknown(0) == 0 ? std::nullopt : std::optional<int>(1);
  return *empty;
}

int copy() {
  char small[4];
  char large[64] = {};
  std::memcpy(small, large, unknown(std::size_t{8}));
  return small[0];
}

int act(const std::string& fault) {
  if (fault == "overflow") return overflow();
  if (fault == "shift") return shift();
  if (fault == "misaligned") return misaligned();
  if (fault == "flag") return flag();
  if (fault == "index") return index();
  if (fault == "optional") return optional();
  if (fault == "copy") return copy();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  volatile int result = argc == 2 ? act(argv[1]) : 0;
  static_cast<void>(result);
  std::puts("went on");
}
