// Base of the script classes of sessions: the settings of an account, which they have in common.
#pragma once

#include <brennox/Session.h>

#include "main/Kinds.h"
#include "main/Wrapper.h"

namespace velkor {

// The library session outlives the script object.
template <class Self, class Library>
class SessionWrapper : public Wrapper<Self, Library, Teardown::kLeave> {
 protected:
  using Base = Wrapper<Self, Library, Teardown::kLeave>;

  explicit SessionWrapper(const Napi::CallbackInfo& info) : Base(info) {}

  // Rows for a class's members.
  using Row = Napi::ClassPropertyDescriptor<Self>;
  using S = brennox::Session;
  static Row Hostname() { return String<&S::hostname, &S::setHostname>("hostname"); }
  static Row Port() { return Number<UInt32, &S::port, &S::setPort>("port"); }
  static Row Username() { return String<&S::username, &S::setUsername>("username"); }
  static Row Password() { return String<&S::password, &S::setPassword>("password"); }
  static Row CheckCertificateEnabled() {
    return Boolean<&S::isCheckCertificateEnabled, &S::setCheckCertificateEnabled>(
        "checkCertificateEnabled");
  }
  static Row OAuth2Token() { return String<&S::OAuth2Token, &S::setOAuth2Token>("OAuth2Token"); }
  static Row AuthType() {
    return Number<Enum<brennox::AuthType>, &S::authType, &S::setAuthType>("authType");
  }
  static Row ConnectionType() {
    return Number<Enum<brennox::ConnectionType>, &S::connectionType, &S::setConnectionType>(
        "connectionType");
  }
  static Row Timeout() { return Number<Int64, &S::timeout, &S::setTimeout>("timeout"); }
  static Row StrictGost() { return Boolean<&S::isStrictGost, &S::setStrictGost>("strictGost"); }

 private:
  template <auto kGet, auto kSet>
  static Row String(const char* name) {
    return Base::template Property<Text, kGet, kSet>(name, "Value must be string");
  }
  template <class Kind, auto kGet, auto kSet>
  static Row Number(const char* name) {
    return Base::template Property<Kind, kGet, kSet>(name, "Value must be number");
  }
  template <auto kGet, auto kSet>
  static Row Boolean(const char* name) {
    return Base::template Property<Flag, kGet, kSet>(name, "Value must be boolean");
  }
};

}  // namespace velkor
