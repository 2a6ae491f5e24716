#include <brennox/IMAPAsyncSession.h>
#include <brennox/IMAPFetchFoldersOperation.h>
#include <brennox/IMAPFetchMessagesOperation.h>
#include <brennox/IMAPSession.h>
#include <brennox/OperationQueue.h>

namespace brennox {

IMAPAsyncSession::IMAPAsyncSession()
    : session_(make<IMAPSession>()), queue_(make<OperationQueue>()) {}
IMAPAsyncSession::~IMAPAsyncSession() = default;

String* IMAPAsyncSession::hostname() {
  return session_->hostname();
}
void IMAPAsyncSession::setHostname(String* hostname) {
  session_->setHostname(hostname);
}
unsigned int IMAPAsyncSession::port() {
  return session_->port();
}
void IMAPAsyncSession::setPort(unsigned int port) {
  session_->setPort(port);
}
String* IMAPAsyncSession::username() {
  return session_->username();
}
void IMAPAsyncSession::setUsername(String* username) {
  session_->setUsername(username);
}
String* IMAPAsyncSession::password() {
  return session_->password();
}
void IMAPAsyncSession::setPassword(String* password) {
  session_->setPassword(password);
}
String* IMAPAsyncSession::OAuth2Token() {
  return session_->OAuth2Token();
}
void IMAPAsyncSession::setOAuth2Token(String* token) {
  session_->setOAuth2Token(token);
}
AuthType IMAPAsyncSession::authType() {
  return session_->authType();
}
void IMAPAsyncSession::setAuthType(AuthType type) {
  session_->setAuthType(type);
}
ConnectionType IMAPAsyncSession::connectionType() {
  return session_->connectionType();
}
void IMAPAsyncSession::setConnectionType(ConnectionType type) {
  session_->setConnectionType(type);
}
bool IMAPAsyncSession::isCheckCertificateEnabled() {
  return session_->isCheckCertificateEnabled();
}
void IMAPAsyncSession::setCheckCertificateEnabled(bool enabled) {
  session_->setCheckCertificateEnabled(enabled);
}
bool IMAPAsyncSession::isStrictGost() {
  return session_->isStrictGost();
}
void IMAPAsyncSession::setStrictGost(bool strict) {
  session_->setStrictGost(strict);
}
std::int64_t IMAPAsyncSession::timeout() {
  return session_->timeout();
}
void IMAPAsyncSession::setTimeout(std::int64_t seconds) {
  session_->setTimeout(seconds);
}

IMAPFetchMessagesOperation* IMAPAsyncSession::fetchMessagesByUIDOperation(
    String* folder, IMAPMessagesRequestKind kind, IndexSet* uids) {
  auto* const operation = makeAutoreleased<IMAPFetchMessagesOperation>();
  operation->setSession(this);
  operation->setQueue(queue_.get());
  operation->setFolder(folder);
  operation->setKind(kind);
  operation->setIndexes(uids);
  return operation;
}

IMAPFetchFoldersOperation* IMAPAsyncSession::fetchAllFoldersOperation() {
  auto* const operation = makeAutoreleased<IMAPFetchFoldersOperation>();
  operation->setSession(this);
  operation->setQueue(queue_.get());
  return operation;
}

void IMAPAsyncSession::cancelAllOperations() {
  queue_->cancelAllOperations();
}

}  // namespace brennox
