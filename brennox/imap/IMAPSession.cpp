#include <brennox/IMAPFolderInfo.h>
#include <brennox/IMAPFolderStatus.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/IMAPSyncResult.h>
#include <brennox/IndexSet.h>
#include <brennox/String.h>

#include <mutex>
#include <stdexcept>

namespace brennox {
namespace {

// Silence that ends an operation when a script does not choose otherwise.
constexpr std::int64_t kDefaultTimeout = 30;

[[noreturn]] void notImplemented() {
  throw std::logic_error("Not implemented");
}

}  // namespace

struct IMAPSession::State {
  // Guards the settings, which a script may change while an operation runs.
  std::mutex settingsLock;
  Ref<String> hostname;
  Ref<String> username;
  Ref<String> password;
  Ref<String> token;
  unsigned int port = 0;
  AuthType authType = AuthTypeSASLNone;
  ConnectionType connectionType = ConnectionTypeTLS;
  bool checkCertificate = true;
  bool strictGost = false;
  std::int64_t timeout = kDefaultTimeout;

  template <class T>
  T get(const T& member) {
    const std::lock_guard<std::mutex> guard(settingsLock);
    return member;
  }
  template <class T>
  void set(T* member, T value) {
    const std::lock_guard<std::mutex> guard(settingsLock);
    std::swap(*member, value);
  }
};

IMAPSession::IMAPSession() : state_(std::make_unique<State>()) {}
IMAPSession::~IMAPSession() = default;

String* IMAPSession::hostname() {
  return state_->get(state_->hostname).autoreleased();
}
void IMAPSession::setHostname(String* hostname) {
  state_->set(&state_->hostname, Ref<String>(hostname));
}
unsigned int IMAPSession::port() {
  return state_->get(state_->port);
}
void IMAPSession::setPort(unsigned int port) {
  state_->set(&state_->port, port);
}
String* IMAPSession::username() {
  return state_->get(state_->username).autoreleased();
}
void IMAPSession::setUsername(String* username) {
  state_->set(&state_->username, Ref<String>(username));
}
String* IMAPSession::password() {
  return state_->get(state_->password).autoreleased();
}
void IMAPSession::setPassword(String* password) {
  state_->set(&state_->password, Ref<String>(password));
}
String* IMAPSession::OAuth2Token() {
  return state_->get(state_->token).autoreleased();
}
void IMAPSession::setOAuth2Token(String* token) {
  state_->set(&state_->token, Ref<String>(token));
}
AuthType IMAPSession::authType() {
  return state_->get(state_->authType);
}
void IMAPSession::setAuthType(AuthType type) {
  state_->set(&state_->authType, type);
}
ConnectionType IMAPSession::connectionType() {
  return state_->get(state_->connectionType);
}
void IMAPSession::setConnectionType(ConnectionType type) {
  state_->set(&state_->connectionType, type);
}
bool IMAPSession::isCheckCertificateEnabled() {
  return state_->get(state_->checkCertificate);
}
void IMAPSession::setCheckCertificateEnabled(bool enabled) {
  state_->set(&state_->checkCertificate, enabled);
}
bool IMAPSession::isStrictGost() {
  return state_->get(state_->strictGost);
}
void IMAPSession::setStrictGost(bool strict) {
  state_->set(&state_->strictGost, strict);
}
std::int64_t IMAPSession::timeout() {
  return state_->get(state_->timeout);
}
void IMAPSession::setTimeout(std::int64_t seconds) {
  state_->set(&state_->timeout, seconds);
}

void IMAPSession::connectIfNeeded(ErrorCode*) {
  notImplemented();
}
void IMAPSession::loginIfNeeded(ErrorCode*) {
  notImplemented();
}
void IMAPSession::disconnect() {
  notImplemented();
}
bool IMAPSession::isDisconnected() {
  return true;
}
void IMAPSession::cancel() {
  notImplemented();
}
void IMAPSession::noop(ErrorCode*) {
  notImplemented();
}
IndexSet* IMAPSession::capability(ErrorCode*) {
  notImplemented();
}
IndexSet* IMAPSession::storedCapabilities() {
  return nullptr;
}
bool IMAPSession::isQResyncEnabled() {
  return false;
}
Array* IMAPSession::fetchAllFolders(ErrorCode*) {
  notImplemented();
}
Array* IMAPSession::fetchSubscribedFolders(ErrorCode*) {
  notImplemented();
}
void IMAPSession::createFolder(String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::createSpecialFolder(String*, unsigned int*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::renameFolder(String*, String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::deleteFolder(String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::subscribeFolder(String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::unsubscribeFolder(String*, ErrorCode*) {
  notImplemented();
}
IMAPFolderStatus* IMAPSession::folderStatus(String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::select(String*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::selectIfNeeded(String*, ErrorCode*) {
  notImplemented();
}
IMAPFolderInfo* IMAPSession::folderInfo(String*, ErrorCode*) {
  notImplemented();
}
std::uint32_t IMAPSession::uidNext() {
  return 0;
}
std::uint32_t IMAPSession::uidValidity() {
  return 0;
}
std::uint64_t IMAPSession::modSequenceValue() {
  return 0;
}
Array* IMAPSession::fetchMessagesByUID(String*, IMAPMessagesRequestKind, IndexSet*,
                                       IMAPProgressCallback*, ErrorCode*) {
  notImplemented();
}
Array* IMAPSession::fetchMessagesByNumber(String*, IMAPMessagesRequestKind, IndexSet*,
                                          IMAPProgressCallback*, ErrorCode*) {
  notImplemented();
}
Data* IMAPSession::fetchMessageByUID(String*, unsigned int, IMAPProgressCallback*, ErrorCode*) {
  notImplemented();
}
Data* IMAPSession::fetchMessageByNumber(String*, unsigned int, IMAPProgressCallback*, ErrorCode*) {
  notImplemented();
}
Data* IMAPSession::fetchPartByUID(String*, unsigned int, IMAPPart*, ErrorCode*) {
  notImplemented();
}
IMAPSyncResult* IMAPSession::syncMessagesByUID(String*, IMAPMessagesRequestKind, IndexSet*,
                                               std::uint64_t, IMAPProgressCallback*, ErrorCode*) {
  notImplemented();
}
void IMAPSession::storeFlagsByUID(String*, IndexSet*, IMAPStoreFlagsRequestKind, MessageFlag,
                                  ErrorCode*) {
  notImplemented();
}
void IMAPSession::storeFlagsByNumber(String*, IndexSet*, IMAPStoreFlagsRequestKind, MessageFlag,
                                     ErrorCode*) {
  notImplemented();
}
void IMAPSession::copyMessages(String*, IndexSet*, String*, HashMap**, ErrorCode*) {
  notImplemented();
}
void IMAPSession::moveMessages(String*, IndexSet*, String*, HashMap**, ErrorCode*) {
  notImplemented();
}
void IMAPSession::expunge(String*, ErrorCode*) {
  notImplemented();
}

}  // namespace brennox
