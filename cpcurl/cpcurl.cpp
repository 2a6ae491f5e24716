#include "cpcurl.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "gost_engine.h"
#include "quick_ack.h"
#include "session_cache.h"
#include "strict_gost.h"
#include "trust_store.h"

namespace cpcurl {

class Easy {
 public:
  explicit Easy(CURL* opened) : curl(opened) {}
  Easy(const Easy&) = delete;
  Easy& operator=(const Easy&) = delete;
  ~Easy();

  CURL* const curl;

  // What has been set, as far as `perform` has to know it.
  bool strictGost = false;
  bool verifyPeer = true;
  bool refused = false;
  bool loginTried = false;
  bool hasProgress = false;
  // Whether a connection may be there to which libcurl says goodbye.
  bool saysGoodbye = false;
  bool connectOnly = false;
  long responseTimeout = 0;
  long useSsl = CURLUSESSL_NONE;
  std::optional<std::string> username;
  std::optional<std::string> password;
  std::string url;
  std::string bearer;
  std::string bearerIdentity;

  // The connection's socket while there is one.
  curl_socket_t socket = CURL_SOCKET_BAD;
};

namespace {

// Seconds for the answer to QUIT or LOGOUT, which nobody needs.
constexpr long kFarewell = 2;

// libcurl's CURL_SSLVERSION_TLSv1_2 as least and most.
constexpr long kOnlyTls12 = CURL_SSLVERSION_TLSv1_2 | (CURL_SSLVERSION_TLSv1_2 << 16);

constexpr char kProtocols[] = "smtp,smtps,imap,imaps,pop3,pop3s";

// The mechanisms of the first try. Left out on purpose: GSSAPI and NTLM need an account of their
// own kind, EXTERNAL a client certificate, and libcurl's DIGEST-MD5 is refused by servers that name
// no realm.
constexpr char kUsualMechanisms[] =
    "AUTH=SCRAM-SHA-256;AUTH=SCRAM-SHA-1;AUTH=CRAM-MD5;AUTH=PLAIN;AUTH=LOGIN";
constexpr char kAnyMechanism[] = "AUTH=*";
constexpr char kBearerMechanisms[] = "AUTH=OAUTHBEARER;AUTH=XOAUTH2";

bool startCurl() {
  static std::once_flag once;
  static bool started = false;
  std::call_once(once, [] {
    // Also makes OpenSSL's first call. Without the engine everything but strict GOST works.
    loadGostEngine();
    started = curl_global_init(CURL_GLOBAL_ALL) == CURLE_OK;
  });
  return started;
}

int contextIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
  return index;
}

// Servers send their session tickets and their greeting in small packets and wait for our
// acknowledgement in between, which the system delays by 40 ms unless told otherwise; it forgets
// that after the handshake.
void afterHandshake(const SSL* ssl, int where, int /*value*/) {
  if (!(where & SSL_CB_HANDSHAKE_DONE)) {
    return;
  }
  const auto* handle =
      static_cast<const Easy*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), contextIndex()));
  if (handle && handle->socket != CURL_SOCKET_BAD) {
    acknowledgeAtOnce(handle->socket);
  }
}

CURLcode prepareContext(CURL* /*curl*/, void* context, void* user) {
  auto* const handle = static_cast<Easy*>(user);
  auto* const ssl = static_cast<SSL_CTX*>(context);
  if (handle->verifyPeer) {
    X509_STORE* const store = acquireTrustStore();
    if (!store) {
      return CURLE_SSL_CACERT_BADFILE;
    }
    SSL_CTX_set_cert_store(ssl, store);
  }
  if (handle->strictGost && !narrowToStrictGost(ssl)) {
    return CURLE_SSL_ENGINE_NOTFOUND;
  }
  if (SSL_CTX_set_ex_data(ssl, contextIndex(), handle) == 1) {
    SSL_CTX_set_info_callback(ssl, afterHandshake);
  }
  return CURLE_OK;
}

int rememberSocket(void* user, curl_socket_t socket, curlsocktype /*purpose*/) {
  static_cast<Easy*>(user)->socket = socket;
  return CURL_SOCKOPT_OK;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool startsWith(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) {
    return false;
  }
  for (std::size_t i = 0; i < prefix.size(); i++) {
    if (lower(text[i]) != prefix[i]) {
      return false;
    }
  }
  return true;
}

// What a server says outside of a message is nobody's output; libcurl would print it.
std::size_t discard(char* /*bytes*/, std::size_t size, std::size_t count, void* /*user*/) {
  return size * count;
}

// TLS from the first byte, or no transfer without it.
bool asksForTls(const Easy& handle) {
  for (const char* scheme : {"smtps://", "imaps://", "pop3s://"}) {
    if (startsWith(handle.url, scheme)) {
      return true;
    }
  }
  if (handle.useSsl != CURLUSESSL_ALL) {
    return false;
  }
  for (const char* scheme : {"smtp://", "imap://", "pop3://"}) {
    if (startsWith(handle.url, scheme)) {
      return true;
    }
  }
  return false;
}

bool mayUseTls(const Easy& handle) {
  return handle.useSsl != CURLUSESSL_NONE || asksForTls(handle);
}

CURLcode applyStrictGost(Easy& handle) {
  if (!strictGostAvailable() || !asksForTls(handle)) {
    return CURLE_SSL_ENGINE_NOTFOUND;
  }
  const bool set =
      curl_easy_setopt(handle.curl, CURLOPT_SSL_CIPHER_LIST, kStrictGostSuites) == CURLE_OK &&
      curl_easy_setopt(handle.curl, CURLOPT_SSLVERSION, kOnlyTls12) == CURLE_OK;
  return set ? CURLE_OK : CURLE_SSL_ENGINE_NOTFOUND;
}

CURLcode setText(CURL* curl, CURLoption option, const char* text) {
  return curl_easy_setopt(curl, option, text);
}

// Who logs in and how.
CURLcode applyLogin(Easy& handle, bool hasBearer) {
  const bool nobody = handle.username.value_or("").empty() && handle.password.value_or("").empty();
  CURLcode result = CURLE_OK;
  if (hasBearer && !handle.username) {
    // libcurl hands a token over only where there is a user name, be it an empty one.
    result = setText(handle.curl, CURLOPT_USERNAME, handle.bearerIdentity.c_str());
  } else if (!hasBearer && nobody) {
    // Two empty ones would be tried as an empty identity.
    result = setText(handle.curl, CURLOPT_USERNAME, nullptr);
    if (result == CURLE_OK) {
      result = setText(handle.curl, CURLOPT_PASSWORD, nullptr);
    }
  }
  if (result != CURLE_OK) {
    return result;
  }
  return setText(handle.curl, CURLOPT_LOGIN_OPTIONS,
                 hasBearer ? kBearerMechanisms : kUsualMechanisms);
}

// Notes whether a login command goes out: when the login is denied without one, the server offers
// none of the mechanisms that were asked for.
int watchCommands(CURL* /*curl*/, curl_infotype kind, char* bytes, std::size_t length, void* user) {
  if (kind != CURLINFO_HEADER_OUT) {
    return 0;
  }
  const std::string_view line(bytes, length);
  const bool login = line.starts_with("AUTH ") || line.find(" AUTHENTICATE ") != line.npos ||
                     line.find(" LOGIN ") != line.npos;
  if (login) {
    static_cast<Easy*>(user)->loginTried = true;
  }
  return 0;
}

// Set by StopWhen.
thread_local const std::atomic<bool>* stopFlag = nullptr;

int stopIfAsked(void* flag, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<const std::atomic<bool>*>(flag)->load() ? 1 : 0;
}

void watchStopFlag(Easy& handle) {
  if (stopFlag == nullptr || handle.hasProgress) {
    return;
  }
  curl_easy_setopt(handle.curl, CURLOPT_XFERINFOFUNCTION, stopIfAsked);
  curl_easy_setopt(handle.curl, CURLOPT_XFERINFODATA, stopFlag);
  curl_easy_setopt(handle.curl, CURLOPT_NOPROGRESS, 0L);
}

void watchLogin(Easy& handle) {
  handle.loginTried = false;
  curl_easy_setopt(handle.curl, CURLOPT_DEBUGFUNCTION, watchCommands);
  curl_easy_setopt(handle.curl, CURLOPT_DEBUGDATA, &handle);
  curl_easy_setopt(handle.curl, CURLOPT_VERBOSE, 1L);
}

}  // namespace

// libcurl waits for the answer to its last command as long as the transfer that began last would
// wait for an answer, whatever has been set since. So one more begins, and ends for want of a URL.
Easy::~Easy() {
  if (saysGoodbye) {
    const long bound = responseTimeout > 0 ? std::min(responseTimeout, kFarewell) : kFarewell;
    curl_easy_setopt(curl, CURLOPT_SERVER_RESPONSE_TIMEOUT, bound);
    curl_easy_setopt(curl, CURLOPT_VERBOSE, 0L);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 1L);
    curl_easy_setopt(curl, CURLOPT_URL, nullptr);
    curl_easy_perform(curl);
  }
  curl_easy_cleanup(curl);
}

Easy* easy_init() {
  if (!startCurl()) {
    return nullptr;
  }
  CURL* const curl = curl_easy_init();
  if (!curl) {
    return nullptr;
  }
  auto* const handle = new Easy(curl);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, kProtocols);
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, discard);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, rememberSocket);
  curl_easy_setopt(curl, CURLOPT_SOCKOPTDATA, handle);
  if (curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, prepareContext) == CURLE_OK) {
    curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, handle);
    // The shared store takes the place of what libcurl would read.
    curl_easy_setopt(curl, CURLOPT_CAINFO, nullptr);
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
  return handle;
}

void easy_cleanup(Easy* handle) {
  delete handle;
}

CURLcode setNumber(Easy* handle, int option, curl_off_t value) {
  switch (option) {
    case kOptionStrictGost:
      handle->strictGost = value != 0;
      return CURLE_OK;
    case CURLOPT_SERVER_RESPONSE_TIMEOUT:
      handle->responseTimeout = static_cast<long>(value);
      break;
    case CURLOPT_CONNECT_ONLY:
      handle->connectOnly = value != 0;
      break;
    case CURLOPT_USE_SSL:
      handle->useSsl = static_cast<long>(value);
      break;
    case CURLOPT_SSL_VERIFYPEER:
      handle->verifyPeer = value != 0;
      break;
    default:
      break;
  }
  const auto known = static_cast<CURLoption>(option);
  if (option >= CURLOPTTYPE_OFF_T) {
    return curl_easy_setopt(handle->curl, known, value);
  }
  return curl_easy_setopt(handle->curl, known, static_cast<long>(value));
}

CURLcode setPointer(Easy* handle, int option, const void* value) {
  const auto* const text = static_cast<const char*>(value);
  switch (option) {
    case CURLOPT_URL:
    case CURLOPT_USERNAME:
    case CURLOPT_PASSWORD:
    case CURLOPT_XOAUTH2_BEARER:
    case CURLOPT_MAIL_FROM:
    case CURLOPT_CUSTOMREQUEST:
    case kOptionBearerIdentity:
      if (text && std::strpbrk(text, "\r\n")) {
        handle->refused = true;
        return CURLE_BAD_FUNCTION_ARGUMENT;
      }
      break;
    case CURLOPT_MAIL_RCPT:
      for (const auto* item = static_cast<const curl_slist*>(value); item; item = item->next) {
        if (std::strpbrk(item->data, "\r\n")) {
          handle->refused = true;
          return CURLE_BAD_FUNCTION_ARGUMENT;
        }
      }
      break;
    default:
      break;
  }
  const auto optional = [text] { return text ? std::optional<std::string>(text) : std::nullopt; };
  switch (option) {
    case CURLOPT_URL:
      handle->url = text ? text : "";
      break;
    case CURLOPT_USERNAME:
      handle->username = optional();
      break;
    case CURLOPT_PASSWORD:
      handle->password = optional();
      break;
    case CURLOPT_XOAUTH2_BEARER:
      handle->bearer = text ? text : "";
      break;
    case kOptionBearerIdentity:
      handle->bearerIdentity = text ? text : "";
      return CURLE_OK;
    default:
      break;
  }
  return curl_easy_setopt(handle->curl, static_cast<CURLoption>(option), value);
}

CURLcode setFunction(Easy* handle, int option, void (*value)()) {
  handle->hasProgress = handle->hasProgress || option == CURLOPT_XFERINFOFUNCTION;
  return curl_easy_setopt(handle->curl, static_cast<CURLoption>(option), value);
}

CURLcode easy_perform(Easy* handle) {
  if (handle->refused) {
    return CURLE_BAD_FUNCTION_ARGUMENT;
  }
  if (handle->strictGost) {
    const CURLcode result = applyStrictGost(*handle);
    if (result != CURLE_OK) {
      return result;
    }
  }
  if (mayUseTls(*handle)) {
    attachSessionCache(handle->curl);
  }
  const bool hasBearer = !handle->bearer.empty();
  CURLcode result = applyLogin(*handle, hasBearer);
  if (result != CURLE_OK) {
    return result;
  }
  const bool mayTryAgain = !hasBearer && handle->username && !handle->username->empty();
  if (mayTryAgain) {
    watchLogin(*handle);
  }
  watchStopFlag(*handle);
  handle->saysGoodbye = !handle->connectOnly;
  result = curl_easy_perform(handle->curl);
  if (result == CURLE_LOGIN_DENIED && mayTryAgain && !handle->loginTried) {
    // None of the usual ones: whatever libcurl knows. No byte of the message has been read yet.
    result = setText(handle->curl, CURLOPT_LOGIN_OPTIONS, kAnyMechanism);
    if (result == CURLE_OK) {
      result = curl_easy_perform(handle->curl);
    }
  }
  return result;
}

StopWhen::StopWhen(const std::atomic<bool>& flag) : outer_(std::exchange(stopFlag, &flag)) {}

StopWhen::~StopWhen() {
  stopFlag = outer_;
}

CURLcode easy_send(Easy* handle, const void* bytes, std::size_t length, std::size_t* sent) {
  return curl_easy_send(handle->curl, bytes, length, sent);
}

CURLcode easy_recv(Easy* handle, void* buffer, std::size_t length, std::size_t* received) {
  return curl_easy_recv(handle->curl, buffer, length, received);
}

CURLcode easy_getinfo(Easy* handle, CURLINFO info, void* value) {
  return curl_easy_getinfo(handle->curl, info, value);
}

const char* urlOf(const Easy* handle) {
  return handle->url.c_str();
}

curl_slist* slist_append(curl_slist* list, const char* text) {
  return curl_slist_append(list, text);
}

void slist_free_all(curl_slist* list) {
  curl_slist_free_all(list);
}

}  // namespace cpcurl
