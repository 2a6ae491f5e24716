// Blocking access to a POP3 mailbox (RFC 1939).
#pragma once

#include <brennox/ErrorCode.h>
#include <brennox/Flags.h>
#include <brennox/Session.h>

#include <cstdint>
#include <memory>

namespace brennox {

class Array;
class Data;
class MessageHeader;
class POPMessageInfo;
class POPProgressCallback;
class String;

// Operations connect and log in by themselves where needed and are serialised. Deletions take
// effect with disconnect(), which sends QUIT; a session that is dropped without it deletes nothing.
// Results are autoreleased; null with an error code when a call fails.
class BRENNOX_EXPORT POPSession : public Session {
 public:
  POPSession();
  ~POPSession() override;

  virtual void connect(ErrorCode* error);
  virtual void login(ErrorCode* error);
  virtual void disconnect();
  // Connects, logs in and leaves no connection behind.
  virtual void checkAccount(ErrorCode* error);
  virtual void noop(ErrorCode* error);

  virtual Array* fetchMessages(ErrorCode* error);
  virtual MessageHeader* fetchHeader(unsigned int index, ErrorCode* error);
  virtual MessageHeader* fetchHeader(POPMessageInfo* message, ErrorCode* error);
  virtual Data* fetchMessage(unsigned int index, POPProgressCallback* progress, ErrorCode* error);
  virtual Data* fetchMessage(POPMessageInfo* message, POPProgressCallback* progress,
                             ErrorCode* error);
  virtual void deleteMessage(unsigned int index, ErrorCode* error);
  virtual void deleteMessage(POPMessageInfo* message, ErrorCode* error);

 protected:
  const char* className() const override { return "POPSession"; }

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace brennox
