// The curl easy interface that mail is sent and fetched with: libcurl's functions under their own
// names in a namespace, with the one option that standard libcurl lacks.
//
// A handle differs from a bare libcurl handle in this:
// - Only SMTP, IMAP and POP3 (clear or TLS) are spoken. Nothing outside the handle's options says
//   where a connection goes or who logs in: no proxy from the environment, no .netrc, no signals.
// - CURLOPT_HTTPAUTH does not narrow the login mechanisms. The best of those that the server offers
//   and that need no more than a name and a password is used.
// - Without user name and password there is no login, also where both are set to "".
// - A bearer token logs in also without CURLOPT_USERNAME; see kOptionBearerIdentity. It is never
//   replaced by another mechanism.
// - Certificates are checked as libcurl does, against the same bundle, which is read once for all
//   handles and again when the file changes.
// - What the server sends is dropped unless a CURLOPT_WRITEFUNCTION is set; nothing is printed.
// - A string option with a line break is refused, and so is the transfer then.
#pragma once

#include <curl/curl.h>

#include <atomic>
#include <type_traits>

namespace cpcurl {

// Long option: 1 is strict GOST mode. TLS 1.2 with one of the four GOST R 34.12/34.10-2012 suites
// or no connection at all: CURLE_SSL_ENGINE_NOTFOUND before connecting when this machine cannot do
// GOST, or when the URL and CURLOPT_USE_SSL do not ask for TLS; CURLE_SSL_CONNECT_ERROR when the
// server cannot.
inline constexpr int kOptionStrictGost = 289;

// String option: the account that a bearer token belongs to. Only used together with
// CURLOPT_XOAUTH2_BEARER and without CURLOPT_USERNAME.
inline constexpr int kOptionBearerIdentity = 10999;

// One transfer or connection. A handle belongs to one thread at a time.
class Easy;

// Null when libcurl cannot be started.
Easy* easy_init();
void easy_cleanup(Easy* handle);

CURLcode setNumber(Easy* handle, int option, curl_off_t value);
CURLcode setPointer(Easy* handle, int option, const void* value);
CURLcode setFunction(Easy* handle, int option, void (*value)());

// As curl_easy_setopt, with the value's type known: numbers, pointers and functions.
template <class T>
CURLcode easy_setopt(Easy* handle, int option, T value) {
  if constexpr (std::is_integral_v<T> || std::is_enum_v<T>) {
    return setNumber(handle, option, static_cast<curl_off_t>(value));
  } else if constexpr (std::is_pointer_v<T> && std::is_function_v<std::remove_pointer_t<T>>) {
    return setFunction(handle, option, reinterpret_cast<void (*)()>(value));
  } else {
    return setPointer(handle, option, value);
  }
}

CURLcode easy_perform(Easy* handle);

// While it lives, transfers of its thread end with CURLE_ABORTED_BY_CALLBACK within about a second
// of the flag being set, from whichever thread. Transfers with a CURLOPT_XFERINFOFUNCTION of their
// own are left to that.
class StopWhen {
 public:
  explicit StopWhen(const std::atomic<bool>& flag);
  StopWhen(const StopWhen&) = delete;
  StopWhen& operator=(const StopWhen&) = delete;
  ~StopWhen();

 private:
  const std::atomic<bool>* const outer_;
};

// After a CURLOPT_CONNECT_ONLY transfer: the open connection, as curl_easy_send and curl_easy_recv.
CURLcode easy_send(Easy* handle, const void* bytes, std::size_t length, std::size_t* sent);
CURLcode easy_recv(Easy* handle, void* buffer, std::size_t length, std::size_t* received);

CURLcode easy_getinfo(Easy* handle, CURLINFO info, void* value);

// The URL that has been set, for tests and logs; "" before.
const char* urlOf(const Easy* handle);

curl_slist* slist_append(curl_slist* list, const char* text);
void slist_free_all(curl_slist* list);

}  // namespace cpcurl
