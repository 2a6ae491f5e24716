#include <brennox/Array.h>
#include <brennox/MessageHeader.h>
#include <brennox/POPMessageInfo.h>
#include <brennox/POPProgressCallback.h>
#include <brennox/POPSession.h>

#include <algorithm>
#include <limits>
#include <mutex>

#include "net/settings.h"
#include "pop/Connection.h"

namespace brennox {
namespace {

unsigned int saturated(std::size_t count) {
  return static_cast<unsigned int>(
      std::min<std::size_t>(count, std::numeric_limits<unsigned int>::max()));
}

}  // namespace

POPProgressCallback::~POPProgressCallback() = default;
void POPProgressCallback::bodyProgress(POPSession*, unsigned int, unsigned int) {}

struct POPSession::State {
  explicit State(net::Settings& of) : settings(of) {}

  net::Settings& settings;
  // Serialises the operations; guards `connection`.
  std::mutex operationLock;
  pop::Connection connection;

  ErrorCode ensureOpen() {
    return connection.isOpen() ? ErrorNone
                               : connection.open(settings.endpoint(net::Protocol::kPop3));
  }

  ErrorCode ensureLoggedIn() { return loggedIn(connection); }

  // Opens and logs in whichever connection it is.
  ErrorCode loggedIn(pop::Connection& which) {
    if (!which.isOpen()) {
      const ErrorCode error = which.open(settings.endpoint(net::Protocol::kPop3));
      if (error != ErrorNone) {
        return error;
      }
    }
    if (which.isLoggedIn()) {
      return ErrorNone;
    }
    net::Credentials credentials;
    settings.fill(&credentials, net::Protocol::kPop3);
    return which.login(settings.authType(), credentials);
  }

  // Runs `work` on the logged-in connection, one operation at a time.
  template <class Work>
  void perform(ErrorCode* error, const Work& work) {
    const std::lock_guard<std::mutex> guard(operationLock);
    *error = ensureLoggedIn();
    if (*error == ErrorNone) {
      *error = work(connection);
    }
  }
};

POPSession::POPSession() : state_(std::make_unique<State>(settings())) {}
POPSession::~POPSession() = default;

void POPSession::connect(ErrorCode* error) {
  const std::lock_guard<std::mutex> guard(state_->operationLock);
  *error = state_->ensureOpen();
}

void POPSession::login(ErrorCode* error) {
  state_->perform(error, [](pop::Connection&) { return ErrorNone; });
}

void POPSession::disconnect() {
  const std::lock_guard<std::mutex> guard(state_->operationLock);
  state_->connection.quit();
}

void POPSession::checkAccount(ErrorCode* error) {
  const std::lock_guard<std::mutex> guard(state_->operationLock);
  if (state_->connection.isLoggedIn()) {
    // The mailbox would be locked for a second connection.
    *error = state_->connection.noop();
    return;
  }
  state_->connection.close();
  pop::Connection trial;
  *error = state_->loggedIn(trial);
  trial.quit();
}

void POPSession::noop(ErrorCode* error) {
  state_->perform(error, [](pop::Connection& connection) { return connection.noop(); });
}

Array* POPSession::fetchMessages(ErrorCode* error) {
  Array* const messages = Array::array();
  state_->perform(error, [&](pop::Connection& connection) {
    const ErrorCode listed = connection.list();
    if (listed != ErrorNone) {
      return listed;
    }
    messages->reserve(saturated(connection.listing().entries().size()));
    for (const pop::Entry& entry : connection.listing().entries()) {
      const auto info = make<POPMessageInfo>();
      info->setIndex(entry.index);
      info->setSize(entry.size);
      if (!entry.uid.empty()) {
        info->setUid(make<String>(entry.uid).get());
      }
      messages->addObject(info.get());
    }
    return ErrorNone;
  });
  return *error == ErrorNone ? messages : nullptr;
}

// Each operation on a message has two forms: by number, and by an entry of a listing, whose
// identifier must still belong to that number (a mailbox is renumbered with every connection).
namespace {

std::string uidOf(POPMessageInfo* message) {
  return std::string(textOf(message->uid()));
}

}  // namespace

MessageHeader* POPSession::fetchHeader(unsigned int index, ErrorCode* error) {
  const auto message = make<POPMessageInfo>();
  message->setIndex(index);
  return fetchHeader(message.get(), error);
}

MessageHeader* POPSession::fetchHeader(POPMessageInfo* message, ErrorCode* error) {
  Ref<Data> header;
  state_->perform(error, [&](pop::Connection& connection) {
    const ErrorCode known = connection.confirm(message->index(), uidOf(message));
    return known == ErrorNone ? connection.retrieveHeader(message->index(), &header) : known;
  });
  return *error == ErrorNone ? MessageHeader::headerWithData(header.get()) : nullptr;
}

Data* POPSession::fetchMessage(unsigned int index, POPProgressCallback* progress,
                               ErrorCode* error) {
  const auto message = make<POPMessageInfo>();
  message->setIndex(index);
  return fetchMessage(message.get(), progress, error);
}

Data* POPSession::fetchMessage(POPMessageInfo* message, POPProgressCallback* progress,
                               ErrorCode* error) {
  Ref<Data> data;
  state_->perform(error, [&](pop::Connection& connection) {
    const ErrorCode known = connection.confirm(message->index(), uidOf(message));
    if (known != ErrorNone) {
      return known;
    }
    return connection.retrieve(
        message->index(),
        [&](std::size_t current, std::size_t maximum) {
          if (progress != nullptr) {
            progress->bodyProgress(this, saturated(current), saturated(maximum));
          }
        },
        &data);
  });
  return *error == ErrorNone ? data.autoreleased() : nullptr;
}

void POPSession::deleteMessage(unsigned int index, ErrorCode* error) {
  const auto message = make<POPMessageInfo>();
  message->setIndex(index);
  deleteMessage(message.get(), error);
}

void POPSession::deleteMessage(POPMessageInfo* message, ErrorCode* error) {
  state_->perform(error, [&](pop::Connection& connection) {
    const ErrorCode known = connection.confirm(message->index(), uidOf(message));
    if (known != ErrorNone) {
      return known == ErrorFetch ? ErrorDeleteMessage : known;
    }
    return connection.remove(message->index());
  });
}

}  // namespace brennox
