#include <brennox/Session.h>

#include "net/settings.h"

namespace brennox {

Session::Session() : settings_(std::make_shared<net::Settings>()) {}
Session::Session(Session* other) : settings_(other->settings_) {}
Session::~Session() = default;

String* Session::hostname() {
  return settings_->hostname();
}
void Session::setHostname(String* hostname) {
  settings_->setHostname(hostname);
}
unsigned int Session::port() {
  return settings_->port();
}
void Session::setPort(unsigned int port) {
  settings_->setPort(port);
}
String* Session::username() {
  return settings_->username();
}
void Session::setUsername(String* username) {
  settings_->setUsername(username);
}
String* Session::password() {
  return settings_->password();
}
void Session::setPassword(String* password) {
  settings_->setPassword(password);
}
String* Session::OAuth2Token() {
  return settings_->token();
}
void Session::setOAuth2Token(String* token) {
  settings_->setToken(token);
}
AuthType Session::authType() {
  return settings_->authType();
}
void Session::setAuthType(AuthType type) {
  settings_->setAuthType(type);
}
ConnectionType Session::connectionType() {
  return settings_->connectionType();
}
void Session::setConnectionType(ConnectionType type) {
  settings_->setConnectionType(type);
}
bool Session::isCheckCertificateEnabled() {
  return settings_->checkCertificate();
}
void Session::setCheckCertificateEnabled(bool enabled) {
  settings_->setCheckCertificate(enabled);
}
bool Session::isStrictGost() {
  return settings_->strictGost();
}
void Session::setStrictGost(bool strict) {
  settings_->setStrictGost(strict);
}
std::int64_t Session::timeout() {
  return settings_->timeout();
}
void Session::setTimeout(std::int64_t seconds) {
  settings_->setTimeout(seconds);
}

}  // namespace brennox
