#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include <curl/curl.h>

#include "common/config/CacheDocument.h"
#include "common/config/FetchGate.h"
#include "platform/Handles.h"

namespace zuvia {

// Fetches one named configuration value from the configuration service and hands it to onFetch.
//
// A fetch runs on a thread of the system's pool, never on the caller's. All failures are logged
// and swallowed; onFetch is called only with a value.
//
// The class spans several files: BssConfig.cpp has its life and the request for a fetch,
// …Fetch.cpp the exchange, …Response.cpp the answer, …Cache.cpp the cache file.
class BssConfig {
 public:
  // uid: the host's user id. bssCode: the code that the service files the value under. configKey:
  // the member of the answer's "configs" that this client delivers.
  // Makes the cache file where it is missing. Throws std::bad_alloc only.
  BssConfig(uint64_t uid, const std::string& bssCode, const std::string& configKey);
  BssConfig(const BssConfig&) = delete;
  BssConfig& operator=(const BssConfig&) = delete;
  // Not virtual: an owner destroys the object by its concrete type. Calls stop().
  ~BssConfig();

  // Asks for one fetch and returns at once. At most one passes per 61 seconds; the others are
  // dropped. Reads the host information later, on the fetching thread. Any thread.
  void RequestFetch();

  // Adds or replaces a member of the request's "extendInfo". Not locked: call it before the fetch.
  void SetExtendInfo(const std::string& key, const std::string& value) { extendInfo_[key] = value; }

  // The version that requests carry; "" for the host's. Not locked: call it before the fetch.
  void setClientVersion(const std::string& version) { clientVersion_ = version; }

  // One complete fetch on the calling thread: exchange, cache entry, answer. It waits at most 60 s
  // for the session-wide curl mutex and 60 s for the transfer.
  void DoFetchJob();

  // Reads an answer and calls onFetch with the value. ok: whether the transfer succeeded.
  // Lets pass what onFetch throws unless it is a standard exception.
  void OnResponse(bool ok, const std::string& body);

  // Makes sure that the cache file exists, with its directories. Returns false when it cannot be
  // made (logged).
  static bool CheckCache(const std::wstring& path);

  // Records one exchange in the table of the process and writes the whole table to the cache file,
  // unless that was done within the last 30 s. Any thread.
  void StoreToCache(const CacheKey& key, const std::string& response);

 protected:
  // Receives the value, the JSON text of the configuration member, on the fetching thread.
  // success is true and fromCache false with this client.
  virtual void onFetch(bool success, const std::string& value, bool fromCache);

  // Ends fetching: no fetch begins any more, and one that runs has ended on return. Does nothing
  // the second time. A subclass's destructor calls it before its own members go.
  void stop();

 private:
  struct Exchange;

  static void CALLBACK runWork(PTP_CALLBACK_INSTANCE instance, void* context, PTP_WORK work);
  static std::wstring makeCachePath();
  void prepare(Exchange& exchange) const;
  void exchange(CURL* curl, Exchange& result);

  std::string configKey_;
  std::string bssCode_;
  std::wstring cachePath_;
  std::string clientVersion_;
  uint64_t uid_;
  uint32_t cacheLifetimeSeconds_ = 10800;  // a setting that nothing reads yet
  FetchGate gate_;
  std::atomic<bool> stopping_ = false;
  ThreadpoolWork work_;
  std::mutex lock_;  // of the object; nothing needs it yet
  std::map<std::string, std::string> extendInfo_;
};

}  // namespace zuvia
