#include "crypto/store.h"

#include <brennox/Data.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "crypto/credentials.h"
#include "crypto/engine.h"
#include "platform/file.h"
#include "platform/user.h"
#include "system_roots.h"

namespace brennox::crypto {
namespace {

constexpr std::size_t kMaxFiles = 10'000;
constexpr std::size_t kMaxFileSize = std::size_t{1} << 20;
// Nanoseconds. Files that are written over in place leave their folder's time alone; all of them
// are looked at when the last look is older than this, or when a folder's time is so young that a
// further change would not show in it.
constexpr std::int64_t kCheckInterval = 2'000'000'000;

constexpr std::array<std::string_view, 3> kFolders{"/my", "/people", "/trusted"};

std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(dot);
}

std::string_view stemOf(std::string_view name) {
  return name.substr(0, name.size() - extensionOf(name).size());
}

bool isUsableFolder(const std::string& path) {
  const platform::FileInfo info = platform::fileInfo(path);
  return info.isFolder && info.isOwn && !info.isWritableByAnybody;
}

std::string folderTimes(const std::string& folder) {
  std::string times;
  for (const std::string_view name : kFolders) {
    const platform::FileInfo info = platform::fileInfo(folder + std::string(name));
    times += std::to_string(info.modified) + "/" + std::to_string(info.identity) + " ";
  }
  return times;
}

bool isAnyFolderYoung(const std::string& folder, std::int64_t now) {
  return std::any_of(kFolders.begin(), kFolders.end(), [&](std::string_view name) {
    return now - platform::fileInfo(folder + std::string(name)).modified < kCheckInterval;
  });
}

// Everything by which a change shows.
std::string fingerprint(const std::string& folder) {
  std::string text = folderTimes(folder);
  for (const std::string_view name : kFolders) {
    const std::string path = folder + std::string(name);
    text += isUsableFolder(path) ? '+' : '-';
    for (const std::string& file : platform::folderNames(path, kMaxFiles)) {
      const platform::FileInfo info = platform::fileInfo(path + "/" + file);
      text += file + "/" + std::to_string(info.modified) + "/" + std::to_string(info.size) + "/" +
              std::to_string(info.identity) + (info.isOpenToOthers ? "o " : " ");
    }
  }
  return text;
}

std::string readPublicFile(const std::string& path) {
  const platform::FileInfo info = platform::fileInfo(path);
  if (!info.isRegular || info.size > kMaxFileSize) {
    return {};
  }
  const Ref<Block> block = platform::readFile(path);
  return block ? std::string(block->bytes(), block->size()) : std::string();
}

// A password file ends with the line end that editors leave.
platform::PrivateRead readPassword(const std::string& path, Secret& password) {
  std::string bytes;
  const platform::PrivateRead outcome = platform::readPrivateFile(path, kMaxFileSize, bytes);
  const std::size_t end = bytes.find_first_of("\r\n");
  std::string text = bytes.substr(0, end);
  OPENSSL_cleanse(bytes.data(), bytes.size());
  password.assign(std::move(text));
  return outcome;
}

// Opens a file of my/ with the password that may stand beside it. Nothing when it may not be
// opened.
platform::PrivateRead readPrivate(const std::string& path, const std::string& passwordPath,
                                  Credentials& credentials) {
  Secret password;
  const platform::PrivateRead passwordRead = readPassword(passwordPath, password);
  if (passwordRead == platform::PrivateRead::kTooOpen) {
    return passwordRead;
  }
  std::string bytes;
  const platform::PrivateRead outcome = platform::readPrivateFile(path, kMaxFileSize, bytes);
  if (outcome == platform::PrivateRead::kRead) {
    const bool hasPassword = passwordRead == platform::PrivateRead::kRead;
    credentials = readCredentials(bytes, hasPassword ? &password : nullptr);
  }
  OPENSSL_cleanse(bytes.data(), bytes.size());
  return outcome;
}

class Reader {
 public:
  explicit Reader(std::string folder) : folder_(std::move(folder)) {}

  std::shared_ptr<const StoreContents> run() {
    contents_ = std::make_shared<StoreContents>();
    contents_->trust.anchors.reset(X509_STORE_new());
    addSystemAnchors();
    const bool isUsable = isUsableFolder(folder_);
    if (isUsable && isUsableFolder(folder_ + "/my")) {
      readOwn(folder_ + "/my/");
    }
    if (isUsable && isUsableFolder(folder_ + "/people")) {
      for (CertHandle& certificate : readAll(folder_ + "/people/")) {
        contents_->trust.people.push_back(share(certificate.get()));
        contents_->people.push_back(std::move(certificate));
      }
    }
    if (isUsable && isUsableFolder(folder_ + "/trusted")) {
      for (CertHandle& certificate : readAll(folder_ + "/trusted/")) {
        addTrusted(std::move(certificate));
      }
    }
    return contents_;
  }

 private:
  // A folder of hashed names is looked into only for the authority that a chain needs; reading the
  // whole bundle takes as long as verifying a hundred messages.
  void addSystemAnchors() {
    X509_STORE* const anchors = contents_->trust.anchors.get();
    if (anchors == nullptr) {
      return;
    }
    if (cpcurl::addSystemRoots(anchors, cpcurl::RootsFor::kMail) > 0) {
      return;
    }
    std::vector<std::string> folders = platform::systemCertificateFolders();
    folders.emplace_back(X509_get_default_cert_dir());
    for (const std::string& folder : folders) {
      if (hasHashedNames(folder) && X509_STORE_load_path(anchors, folder.c_str()) == 1) {
        return;
      }
    }
    X509_STORE_set_default_paths(anchors);
  }

  static bool hasHashedNames(const std::string& folder) {
    const std::vector<std::string> names = platform::folderNames(folder, kMaxFiles);
    return std::any_of(names.begin(), names.end(), [](const std::string& name) {
      return name.size() == 10 && name.ends_with(".0") &&
             name.find_first_not_of("0123456789abcdef") == 8;
    });
  }

  static std::vector<CertHandle> readAll(const std::string& folder) {
    std::vector<CertHandle> all;
    for (const std::string& name : platform::folderNames(folder, kMaxFiles)) {
      Credentials credentials = readCredentials(readPublicFile(folder + name), nullptr);
      std::move(credentials.certificates.begin(), credentials.certificates.end(),
                std::back_inserter(all));
    }
    return all;
  }

  void addTrusted(CertHandle certificate) {
    Trust& trust = contents_->trust;
    trust.people.push_back(share(certificate.get()));
    if (X509_check_issued(certificate.get(), certificate.get()) == X509_V_OK) {
      X509_STORE_add_cert(trust.anchors.get(), certificate.get());
    } else {
      trust.intermediates.push_back(std::move(certificate));
    }
  }

  void readOwn(const std::string& folder) {
    const std::vector<std::string> names = platform::folderNames(folder, kMaxFiles);
    const std::set<std::string, std::less<>> present(names.begin(), names.end());
    for (const std::string& name : names) {
      const std::string_view extension = extensionOf(name);
      const std::string stem = folder + std::string(stemOf(name));
      if (extension == ".p12" || extension == ".pfx" || extension == ".pem") {
        addFile(folder + name, stem + ".pass");
      } else if ((extension == ".crt" || extension == ".cer") &&
                 present.count(std::string(stemOf(name)) + ".key") != 0) {
        addPair(folder + name, stem + ".key", stem + ".pass");
      }
    }
  }

  void addFile(const std::string& path, const std::string& passwordPath) {
    Credentials credentials;
    const platform::PrivateRead outcome = readPrivate(path, passwordPath, credentials);
    StoredKey stored;
    if (outcome == platform::PrivateRead::kTooOpen) {
      // The certificate of such a file can still be seen where it is not encrypted, so that the
      // refusal can be told apart from a certificate that is not there.
      credentials = readCredentials(readPublicFile(path), nullptr);
      credentials.key.reset();
      stored.isTooOpen = true;
    }
    add(std::move(credentials), path, passwordPath, std::move(stored));
  }

  void addPair(const std::string& path, const std::string& keyPath,
               const std::string& passwordPath) {
    StoredKey stored;
    stored.isTooOpen = isTooOpen(keyPath) || isTooOpen(passwordPath);
    add(readCredentials(readPublicFile(path), nullptr), keyPath, passwordPath, std::move(stored));
  }

  static bool isTooOpen(const std::string& path) {
    const platform::FileInfo info = platform::fileInfo(path);
    return info.exists && (!info.isOwn || info.isOpenToOthers);
  }

  void add(Credentials credentials, const std::string& keyPath, const std::string& passwordPath,
           StoredKey stored) {
    if (credentials.certificates.empty()) {
      return;
    }
    stored.certificate = std::move(credentials.certificates.front());
    credentials.certificates.erase(credentials.certificates.begin());
    stored.chain = std::move(credentials.certificates);
    stored.keyPath = keyPath;
    stored.passwordPath = passwordPath;
    contents_->trust.people.push_back(share(stored.certificate.get()));
    for (const CertHandle& link : stored.chain) {
      contents_->trust.intermediates.push_back(share(link.get()));
    }
    contents_->own.push_back(std::move(stored));
  }

  const std::string folder_;
  std::shared_ptr<StoreContents> contents_;
};

}  // namespace

KeyHandle StoredKey::open() const {
  const ErrorQueueGuard errors;
  Credentials credentials;
  if (isTooOpen ||
      readPrivate(keyPath, passwordPath, credentials) != platform::PrivateRead::kRead) {
    return nullptr;
  }
  const bool fits =
      credentials.key && X509_check_private_key(certificate.get(), credentials.key.get()) == 1;
  return fits ? std::move(credentials.key) : nullptr;
}

std::vector<OwnCertificate> StoreContents::keys() const {
  std::vector<OwnCertificate> keys;
  keys.reserve(own.size());
  for (const StoredKey& stored : own) {
    keys.push_back({share(stored.certificate.get()), [&stored] { return stored.open(); }});
  }
  return keys;
}

std::shared_ptr<const StoreContents> CertificateStore::contents() {
  // One store for each folder that was asked for; more than one only where the environment changes.
  static std::mutex mutex;
  static auto* const stores = new std::map<std::string, std::unique_ptr<CertificateStore>>;
  const std::string data = platform::userDataFolder();
  const std::string folder = data.empty() ? std::string() : data + "/velkor_brennox2/certs";
  CertificateStore* store = nullptr;
  {
    const std::lock_guard lock(mutex);
    std::unique_ptr<CertificateStore>& entry = (*stores)[folder];
    if (!entry) {
      entry = std::make_unique<CertificateStore>(folder);
    }
    store = entry.get();
  }
  return store->read();
}

std::shared_ptr<const StoreContents> CertificateStore::read() {
  const ErrorQueueGuard errors;
  isGostAvailable();
  const std::lock_guard lock(mutex_);
  const std::int64_t now = platform::fileClock();
  const std::string times = folderTimes(folder_);
  const bool isRecent = now >= checkedAt_ && now - checkedAt_ < kCheckInterval;
  if (contents_ && times == folderTimes_ && isRecent && !isAnyFolderYoung(folder_, now)) {
    return contents_;
  }
  std::string current = fingerprint(folder_);
  if (!contents_ || current != fingerprint_) {
    contents_ = Reader(folder_).run();
    fingerprint_ = std::move(current);
  }
  folderTimes_ = times;
  checkedAt_ = now;
  return contents_;
}

}  // namespace brennox::crypto
