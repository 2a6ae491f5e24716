#include "trust_store.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

#include <mutex>
#include <string>

namespace cpcurl {
namespace {

// What tells one version of the bundle's file from the next.
struct FileMark {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified = {};
  timespec changed = {};

  bool operator==(const FileMark& other) const {
    return device == other.device && inode == other.inode && size == other.size &&
           modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
  }
};

FileMark markOf(const char* file) {
  struct stat status = {};
  FileMark mark;
  if (file && stat(file, &status) == 0) {
    mark = {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
  }
  return mark;
}

struct Shared {
  std::mutex mutex;
  // The rest under the mutex.
  X509_STORE* store = nullptr;
  FileMark mark;
  std::uint64_t generation = 0;
};

// Never deleted: threads may still connect while the process exits.
Shared& shared() {
  static Shared* const instance = new Shared;
  return *instance;
}

X509_STORE* readBundle(const char* file, const char* folder) {
  X509_STORE* store = X509_STORE_new();
  if (!store) {
    return nullptr;
  }
  ERR_set_mark();
  const bool fileRead = file && X509_STORE_load_file(store, file) == 1;
  // The folder is only looked into when a certificate is asked for.
  const bool folderSet = folder && X509_STORE_load_path(store, folder) == 1;
  ERR_pop_to_mark();
  if (file ? !fileRead : !folderSet) {
    X509_STORE_free(store);
    return nullptr;
  }
  // As libcurl sets them: prefer what is trusted, and an intermediate in the bundle is trusted as
  // it is.
  X509_STORE_set_flags(store, X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  return store;
}

// Reads the bundle when that has not happened yet or the file has changed. The lock is held.
void refresh(Shared& trust) {
  const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
  const FileMark mark = markOf(info->cainfo);
  if (trust.store && mark == trust.mark) {
    return;
  }
  X509_STORE* const fresh = readBundle(info->cainfo, info->capath);
  X509_STORE_free(trust.store);
  trust.store = fresh;
  trust.mark = mark;
  trust.generation++;
}

}  // namespace

X509_STORE* acquireTrustStore() noexcept {
  Shared& trust = shared();
  const std::lock_guard lock(trust.mutex);
  refresh(trust);
  if (!trust.store) {
    return nullptr;
  }
  X509_STORE_up_ref(trust.store);
  return trust.store;
}

std::uint64_t trustGeneration() noexcept {
  Shared& trust = shared();
  const std::lock_guard lock(trust.mutex);
  refresh(trust);
  return trust.generation;
}

}  // namespace cpcurl
