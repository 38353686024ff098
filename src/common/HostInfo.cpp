#include "common/HostInfo.h"

namespace zuvia {

HostInfo& hostInfo() {
  // Never destroyed: a fetch may still run while the process ends.
  static HostInfo& info = *new HostInfo;
  return info;
}

}  // namespace zuvia
