#pragma once

#include <cstdint>
#include <string>

#include "common/UpdateEntry.h"
#include "common/config/BssConfig.h"

namespace zuvia {

class ZuDllUpdater;

// The configuration client of the update entry: reads the fetched value and hands it to the updater.
class ZuUpdateConfig final : public BssConfig {
 public:
  explicit ZuUpdateConfig(uint64_t uid);
  ZuUpdateConfig(const ZuUpdateConfig&) = delete;
  ZuUpdateConfig& operator=(const ZuUpdateConfig&) = delete;
  // Waits for a fetch that runs.
  ~ZuUpdateConfig();

  // Sets who receives the entries; not owned, must outlive this object. Null: nobody.
  void setUpdater(ZuDllUpdater* updater) { updater_ = updater; }

  // value: the JSON text of the entry. Every value that parses overwrites the whole record and is
  // handed to the updater, on the calling thread; everything else is logged. A cached value never
  // replaces one that was handed over. Lets pass what is not a standard exception.
  void onFetch(bool success, const std::string& value, bool fromCache) override;

  // The last parsed entry, and whether one was handed over. On the fetching thread.
  const UpdateEntry& record() const { return record_; }
  bool handed() const { return handed_; }

 private:
  bool handed_ = false;
  ZuDllUpdater* updater_ = nullptr;
  UpdateEntry record_;
};

}  // namespace zuvia
