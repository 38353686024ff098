#include "common/config/BssConfig.h"

#include "platform/SystemClock.h"

namespace zuvia {

BssConfig::BssConfig(uint64_t uid, const std::string& bssCode, const std::string& configKey)
    : configKey_(configKey),
      bssCode_(bssCode),
      uid_(uid),
      work_(CreateThreadpoolWork(&BssConfig::runWork, this, nullptr)) {
  cachePath_ = makeCachePath();
  CheckCache(cachePath_);
}

BssConfig::~BssConfig() {
  stop();
}

void BssConfig::stop() {
  if (stopping_.exchange(true) || !work_) {
    return;
  }
  constexpr BOOL kCancelPending = FALSE;
  WaitForThreadpoolWorkCallbacks(work_.get(), kCancelPending);
  work_.reset();
}

void BssConfig::RequestFetch() {
  const auto now = static_cast<uint32_t>(systemTicks() / kTicksPerSecond);
  if (gate_.tryPass(now) && work_ && !stopping_) {
    SubmitThreadpoolWork(work_.get());
  }
}

void CALLBACK BssConfig::runWork(PTP_CALLBACK_INSTANCE, void* context, PTP_WORK) {
  auto* const client = static_cast<BssConfig*>(context);
  if (client != nullptr && !client->stopping_) {
    client->DoFetchJob();
  }
}

void BssConfig::onFetch(bool, const std::string&, bool) {}

}  // namespace zuvia
