#include "session_cache.h"

#include <cstdint>
#include <mutex>
#include <vector>

#include "trust_store.h"

namespace cpcurl {
namespace {

struct Cache {
  // Under which libcurl looks into a share and changes it.
  std::mutex use;

  std::mutex mutex;
  // The rest under `mutex`.
  CURLSH* current = nullptr;
  std::uint64_t generation = 0;
  // Of earlier generations; some handle may still be using them.
  std::vector<CURLSH*> retired;
};

// Never deleted: threads may still connect while the process exits.
Cache& cache() {
  static Cache* const instance = new Cache;
  return *instance;
}

void lockShare(CURL* /*curl*/, curl_lock_data /*data*/, curl_lock_access /*access*/,
               void* /*user*/) {
  cache().use.lock();
}

void unlockShare(CURL* /*curl*/, curl_lock_data /*data*/, void* /*user*/) {
  cache().use.unlock();
}

CURLSH* newShare() {
  CURLSH* const share = curl_share_init();
  if (share == nullptr) {
    return nullptr;
  }
  curl_share_setopt(share, CURLSHOPT_LOCKFUNC, lockShare);
  curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, unlockShare);
  if (curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION) != CURLSHE_OK) {
    curl_share_cleanup(share);
    return nullptr;
  }
  return share;
}

}  // namespace

void attachSessionCache(CURL* curl) noexcept {
  const std::uint64_t generation = trustGeneration();
  Cache& shared = cache();
  const std::lock_guard lock(shared.mutex);
  if (shared.current == nullptr || shared.generation != generation) {
    if (shared.current != nullptr) {
      shared.retired.push_back(shared.current);
    }
    std::erase_if(shared.retired,
                  [](CURLSH* old) { return curl_share_cleanup(old) == CURLSHE_OK; });
    shared.current = newShare();
    shared.generation = generation;
  }
  // Under the lock: from here on libcurl knows that the share is in use.
  if (shared.current != nullptr) {
    curl_easy_setopt(curl, CURLOPT_SHARE, shared.current);
  }
}

}  // namespace cpcurl
