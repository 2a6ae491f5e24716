// The file and the folder that libcurl was built with.
#include "trusted_bundle.h"

#include <curl/curl.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <sys/stat.h>

namespace cpcurl {

std::string bundleMark() {
  const char* const file = curl_version_info(CURLVERSION_NOW)->cainfo;
  struct stat status = {};
  if (!file || stat(file, &status) != 0) {
    return {};
  }
  std::string mark;
  for (const auto number :
       {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
        static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
        static_cast<long long>(status.st_mtim.tv_nsec),
        static_cast<long long>(status.st_ctim.tv_sec),
        static_cast<long long>(status.st_ctim.tv_nsec)}) {
    mark += std::to_string(number) + '/';
  }
  return mark;
}

X509_STORE* readBundle() {
  const curl_version_info_data* const info = curl_version_info(CURLVERSION_NOW);
  X509_STORE* store = X509_STORE_new();
  if (!store) {
    return nullptr;
  }
  ERR_set_mark();
  const bool fileRead = info->cainfo && X509_STORE_load_file(store, info->cainfo) == 1;
  // The folder is only looked into when a certificate is asked for.
  const bool folderSet = info->capath && X509_STORE_load_path(store, info->capath) == 1;
  ERR_pop_to_mark();
  if (info->cainfo ? !fileRead : !folderSet) {
    X509_STORE_free(store);
    return nullptr;
  }
  return store;
}

}  // namespace cpcurl
