// The user's certificates: a folder with three folders inside.
//
//   my/       own certificates with their private keys: NAME.p12 or NAME.pfx, NAME.pem (both in one
//             file), or NAME.crt with NAME.key; a password stands in NAME.pass
//   people/   certificates of other people
//   trusted/  authorities beside the system's: a self-signed certificate is an anchor of trust,
//   others
//             serve as links of chains
//
// Names of files mean nothing. Keys and passwords that others than the owner may read are refused,
// and so is everything in a folder that belongs to somebody else or that anybody may write to.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "crypto/decrypt.h"
#include "crypto/openssl.h"
#include "crypto/verify.h"

namespace brennox::crypto {

// One of the files of my/ with a private key.
struct StoredKey {
  CertHandle certificate;
  std::vector<CertHandle> chain;
  std::string keyPath;
  std::string passwordPath;
  // Others may read the key or its password: neither is opened.
  bool isTooOpen = false;

  // Reads the file again: nothing secret stays in memory in between. Null when it cannot be opened.
  KeyHandle open() const;
};

// What the folders held when they were last read. Immutable; shared between threads.
struct StoreContents {
  std::vector<StoredKey> own;
  std::vector<CertHandle> people;
  // For verification: anchors, links, and everybody who may have signed.
  Trust trust;

  // For decryption; not to be used longer than these contents.
  std::vector<OwnCertificate> keys() const;
};

class CertificateStore {
 public:
  explicit CertificateStore(std::string folder) : folder_(std::move(folder)) {}

  // The folder of the user the process runs as, found anew at each call. Any thread.
  static std::shared_ptr<const StoreContents> contents();

  // Any thread. Reads the folders at the first call and when something in them has changed.
  std::shared_ptr<const StoreContents> read();

 private:
  const std::string folder_;
  std::mutex mutex_;  // guards what follows
  std::shared_ptr<const StoreContents> contents_;
  std::string fingerprint_;
  std::string folderTimes_;
  std::int64_t checkedAt_ = 0;
};

}  // namespace brennox::crypto
