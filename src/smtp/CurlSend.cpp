#include "smtp/CurlSend.h"

#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Data.h>
#include <brennox/String.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "smtp/CurlUrl.h"

namespace velkor {

namespace {

using brennox::ErrorCode;

constexpr std::int32_t kTls = 4;

struct ListCleanup {
  void operator()(curl_slist* list) const { cpcurl::slist_free_all(list); }
};
using TextList = std::unique_ptr<curl_slist, ListCleanup>;

TextList ListOf(const std::vector<std::string>& texts) {
  TextList list;
  for (const std::string& text : texts) {
    curl_slist* const longer = cpcurl::slist_append(list.get(), text.c_str());
    if (!longer) {
      throw std::bad_alloc();
    }
    // The same list with its old head, or the first one.
    static_cast<void>(list.release());
    list.reset(longer);
  }
  return list;
}

bool CredentialsFit(const SMTPFields& fields) {
  for (const std::string* text :
       {&fields.hostname, &fields.username, &fields.password, &fields.OAuth2Token}) {
    if (!FitsOnOneLine(*text)) {
      return false;
    }
  }
  return true;
}

// The order of the options is fixed.
CURLcode Transfer(cpcurl::Easy* handle, const SMTPFields& fields, const curl_slist* recipients,
                  TransferSource& source, long timeoutSeconds) {
  using cpcurl::easy_setopt;
  easy_setopt(handle, CURLOPT_HTTPAUTH, fields.authType);
  if (fields.authType == static_cast<std::int32_t>(CURLAUTH_BEARER) &&
      !fields.OAuth2Token.empty()) {
    easy_setopt(handle, CURLOPT_XOAUTH2_BEARER, fields.OAuth2Token.c_str());
    // Servers ask whose token it is.
    easy_setopt(handle, cpcurl::kOptionBearerIdentity, fields.username.c_str());
  } else {
    easy_setopt(handle, CURLOPT_USERNAME, fields.username.c_str());
    easy_setopt(handle, CURLOPT_PASSWORD, fields.password.c_str());
  }
  easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, fields.checkCertificateEnabled ? 1 : 0);
  ApplyCurlUrl(fields.hostname, fields.connectionType, "smtp", handle);
  easy_setopt(handle, CURLOPT_PORT, fields.port);
  easy_setopt(handle, CURLOPT_MAIL_FROM, fields.from.c_str());
  easy_setopt(handle, CURLOPT_MAIL_RCPT, recipients);
  easy_setopt(handle, CURLOPT_READFUNCTION, ReadFromSource);
  easy_setopt(handle, CURLOPT_READDATA, &source);
  easy_setopt(handle, CURLOPT_UPLOAD, 1);
  if (fields.strictGost) {
    easy_setopt(handle, cpcurl::kOptionStrictGost, 1);
  }
  if (timeoutSeconds != 0) {
    easy_setopt(handle, CURLOPT_TIMEOUT, timeoutSeconds);
  }
  return cpcurl::easy_perform(handle);
}

}  // namespace

brennox::ErrorCode ErrorOfSend(CURLcode result, std::int32_t connectionType) {
  switch (result) {
    case CURLE_OK:
      return brennox::ErrorNone;
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
      return brennox::ErrorTLSNotAvailable;
    case CURLE_RECV_ERROR:
      return brennox::ErrorSendMessage;
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return brennox::ErrorCertificate;
    case CURLE_USE_SSL_FAILED:
      return connectionType == kTls ? brennox::ErrorTLSNotAvailable
                                    : brennox::ErrorStartTLSNotAvailable;
    case CURLE_LOGIN_DENIED:
      return brennox::ErrorAuthentication;
    default:
      return brennox::ErrorConnection;
  }
}

CURLcode SendWithCurl(const SMTPSettings& session, const char* bytes, std::size_t length,
                      brennox::ErrorCode* error, long timeoutSeconds) {
  const EasyHandle handle(cpcurl::easy_init());
  // The text is fixed as it stands; scripts match on it.
  if (!handle) {
    throw std::runtime_error("Eror send message: unable to initialize CURL");
  }
  const SMTPFields fields = session.snapshot();
  if (!CredentialsFit(fields)) {
    *error = brennox::ErrorSendMessage;
    return CURLE_BAD_FUNCTION_ARGUMENT;
  }
  const TextList recipients = ListOf(fields.recipients);
  TransferSource source = {bytes, length, 0};
  const CURLcode result = Transfer(handle.get(), fields, recipients.get(), source, timeoutSeconds);
  *error = ErrorOfSend(result, fields.connectionType);
  return result;
}

CURLcode SendMessageWithRetries(SMTPSettings& session, brennox::Address* sender,
                                const brennox::Array* recipients, const brennox::Data& message,
                                brennox::ErrorCode* error, const RetryPolicy& policy) {
  const std::string from(brennox::textOf(sender ? sender->mailbox() : nullptr));
  std::vector<std::string> added;
  for (unsigned int i = 0; i < recipients->count(); i++) {
    const brennox::String* const mailbox = recipients->at<brennox::Address>(i)->mailbox();
    if (mailbox) {
      added.emplace_back(mailbox->view());
    }
  }
  if (!FitsOnOneLine(from) || !std::all_of(added.begin(), added.end(), FitsOnOneLine)) {
    *error = brennox::ErrorSendMessage;
    return CURLE_BAD_FUNCTION_ARGUMENT;
  }
  session.with([&](SMTPFields& fields) {
    fields.from = from;
    fields.recipients.insert(fields.recipients.end(), added.begin(), added.end());
  });

  CURLcode result = CURLE_OK;
  long timeout = policy.firstTimeout;
  for (int attempt = 0; attempt < policy.attempts; attempt++) {
    result = SendWithCurl(session, message.bytes(), message.length(), error, timeout);
    if (result != CURLE_OPERATION_TIMEDOUT && result != CURLE_SEND_ERROR) {
      break;
    }
    timeout += policy.timeoutStep;
  }
  return result;
}

}  // namespace velkor
