#pragma once

#include <string>
#include <vector>

namespace zuvia::test {

// How a transfer is made. Times are in seconds; 0: no limit.
struct Transfer {
  std::string url;
  std::string postBody = {};  // "": GET
  std::vector<std::string> headers = {};
  long timeout = 20;
  long stallTime = 0;  // gives up below 1 byte a second for so long
  bool follow = false;
};

struct TransferResult {
  int code = 0;  // of libcurl
  long status = 0;
  std::string body;
};

// Makes one transfer with libcurl, trusting the user's root certificates.
TransferResult transfer(const Transfer& wanted);

}  // namespace zuvia::test
