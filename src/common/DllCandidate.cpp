#include "common/DllCandidate.h"

#include <tuple>

namespace zuvia {

namespace {

auto numbers(const DllCandidate& candidate) {
  return std::tie(candidate.major, candidate.minor, candidate.build, candidate.revision);
}

}  // namespace

bool isOlder(const DllCandidate& left, const DllCandidate& right) {
  return numbers(left) < numbers(right);
}

bool isSameVersion(const DllCandidate& left, const DllCandidate& right) {
  return numbers(left) == numbers(right);
}

std::string candidateVersionString(const DllCandidate& candidate) {
  return candidateShortVersionString(candidate) + "." + std::to_string(candidate.revision);
}

std::string candidateShortVersionString(const DllCandidate& candidate) {
  return std::to_string(candidate.major) + "." + std::to_string(candidate.minor) + "." +
         std::to_string(candidate.build);
}

}  // namespace zuvia
