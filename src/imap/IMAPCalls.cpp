#include "imap/IMAPCalls.h"

#include <brennox/HashMap.h>
#include <brennox/IMAPFolder.h>
#include <brennox/IMAPMessage.h>
#include <brennox/String.h>
#include <brennox/Value.h>

#include "data/WData.h"
#include "imap/CurlAppend.h"
#include "imap/SimpleAsyncWorker.h"
#include "imap/WIMAPFolder.h"
#include "imap/WIMAPFolderStatus.h"
#include "imap/WIMAPMessage.h"
#include "imap/WIMAPSyncResult.h"
#include "main/Arguments.h"
#include "main/Kinds.h"

namespace velkor {
namespace {

constexpr char kWrongNumber[] = "Wrong number of arguments";
constexpr char kWrongArguments[] = "Wrong arguments";

constexpr auto kRequestKind = static_cast<brennox::IMAPMessagesRequestKind>(
    brennox::IMAPMessagesRequestKindFlags | brennox::IMAPMessagesRequestKindHeaders |
    brennox::IMAPMessagesRequestKindStructure | brennox::IMAPMessagesRequestKindInternalDate |
    brennox::IMAPMessagesRequestKindHeaderSubject);

brennox::String* Name(const std::string& text) {
  return brennox::String::stringWithText(text);
}

// A range given by its start and its end, from the arguments `first` and `first` + 1 where these
// are among the first `count`; every index without them.
brennox::Range RangeArguments(const Napi::CallbackInfo& info, std::size_t first,
                              std::size_t count) {
  const auto isGiven = [&](std::size_t index) {
    return index < count && !info[index].IsUndefined();
  };
  // The texts count as for a method with one more argument; scripts match on them.
  std::uint64_t start = 1;
  if (isGiven(first)) {
    Require(info[first].IsNumber(), info.Env(),
            "third parameter if presents must be a number (range start)");
    start = UInt64(info[first]);
  }
  std::uint64_t length = brennox::kRangeToTheEnd;
  if (isGiven(first + 1)) {
    Require(info[first + 1].IsNumber(), info.Env(),
            "fourth parameter if presents must be a number (range end)");
    const std::uint64_t end = UInt64(info[first + 1]);
    if (end != brennox::kRangeToTheEnd) {
      length = end - start;
    }
  }
  return brennox::RangeMake(start, length);
}

}  // namespace

Napi::Value CodeCall::Result(Napi::Env env, brennox::ErrorCode error) {
  return Enum<brennox::ErrorCode>::ToScript(env, error);
}

void DisconnectCall::Run(brennox::IMAPSession& session, brennox::ErrorCode*) {
  session.disconnect();
}

Napi::Value DisconnectCall::Result(Napi::Env env, brennox::ErrorCode) {
  return env.Undefined();
}

FolderArgument::FolderArgument(const Napi::CallbackInfo& info, const char* text)
    : folder(StringArgument(info, 0, text)) {}

template <void (brennox::IMAPSession::*kOperation)(brennox::String*, brennox::ErrorCode*)>
void FolderCall<kOperation>::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  (session.*kOperation)(Name(folder), error);
}
template struct FolderCall<&brennox::IMAPSession::createFolder>;
template struct FolderCall<&brennox::IMAPSession::deleteFolder>;
template struct FolderCall<&brennox::IMAPSession::subscribeFolder>;
template struct FolderCall<&brennox::IMAPSession::unsubscribeFolder>;

RenameFolderCall::RenameFolderCall(const Napi::CallbackInfo& info) {
  static constexpr char kText[] = "first and second parameter must be a string";
  oldName = StringArgument(info, 0, kText);
  newName = StringArgument(info, 1, kText);
}

void RenameFolderCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  session.renameFolder(Name(oldName), Name(newName), error);
}

CreateSpecialFolderCall::CreateSpecialFolderCall(const Napi::CallbackInfo& info)
    : FolderArgument(info), kind(UInt32Argument(info, 1, "second parameter must be a number")) {}

void CreateSpecialFolderCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  session.createSpecialFolder(Name(folder), &kind, error);
}

void ExpungeCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  session.expunge(Name(folder), error);
}

TwinExpungeCall::TwinExpungeCall(const Napi::CallbackInfo& info)
    : ExpungeCall(info, info.Length() < 2 ? kWrongNumber : "First argument must be a string") {
  Require(info.Length() >= 2, info.Env(), kWrongNumber);
  Require(info[1].IsFunction(), info.Env(), "Second argument must be a callback function");
}

template <class Library>
void ResultCall<Library>::Check(Napi::Env env, brennox::ErrorCode error) const {
  if (!result && error != brennox::ErrorNone) {
    throw Napi::Error::New(env, ErrorCodeText(error));
  }
}
template struct ResultCall<brennox::Array>;
template struct ResultCall<brennox::Data>;
template struct ResultCall<brennox::IMAPFolderStatus>;
template struct ResultCall<brennox::IMAPSyncResult>;

template <brennox::Array* (brennox::IMAPSession::*kOperation)(brennox::ErrorCode*)>
Napi::Value FetchFoldersCall<kOperation>::Result(Napi::Env env, brennox::ErrorCode) const {
  return ArrayOf<brennox::IMAPFolder>(env, result.get(), [env](brennox::IMAPFolder* folder) {
    return WIMAPFolder::NewInstance(env, folder);
  });
}
template struct FetchFoldersCall<&brennox::IMAPSession::fetchAllFolders>;
template struct FetchFoldersCall<&brennox::IMAPSession::fetchSubscribedFolders>;

FolderStatusCall::FolderStatusCall(const Napi::CallbackInfo& info)
    : folder(StringArgument(info, 0, "first parameter must be a string")) {}

void FolderStatusCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  result = session.folderStatus(Name(folder), error);
}

Napi::Value FolderStatusCall::Result(Napi::Env env, brennox::ErrorCode) const {
  return result ? WIMAPFolderStatus::NewInstance(env, result.get()) : env.Undefined();
}

MoveMessagesCall::MoveMessagesCall(const Napi::CallbackInfo& info) {
  Require(info.Length() >= 3, info.Env(), kWrongNumber);
  folder = StringArgument(info, 0, kWrongArguments);
  uid = UInt32Argument(info, 1, kWrongArguments);
  destination = StringArgument(info, 2, kWrongArguments);
}

void MoveMessagesCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  brennox::HashMap* mapping = nullptr;
  session.moveMessages(Name(folder), brennox::IndexSet::indexSetWithIndex(uid), Name(destination),
                       &mapping, error);
  if (*error != brennox::ErrorNone || mapping == nullptr) {
    return;
  }
  auto* const first = dynamic_cast<brennox::Value*>(mapping->allValues()->objectAtIndex(0));
  if (first != nullptr && first->type() == brennox::Value::Type::kUnsignedInt) {
    newUid = first->unsignedIntValue();
  }
}

void MoveMessagesCall::Check(Napi::Env env, brennox::ErrorCode error) const {
  if (error != brennox::ErrorNone) {
    throw Napi::Error::New(env, "Unable to move messages. " + ErrorCodeText(error));
  }
}

Napi::Value MoveMessagesCall::Result(Napi::Env env, brennox::ErrorCode) const {
  return newUid ? UInt32::ToScript(env, *newUid) : env.Undefined();
}

FetchMessagesByUIDCall::FetchMessagesByUIDCall(const Napi::CallbackInfo& info, std::size_t count)
    : folder(StringArgument(info, 0, "first parameter must be a string")),
      range(RangeArguments(info, 1, count)) {}

void FetchMessagesByUIDCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  result = session.fetchMessagesByUID(Name(folder), kRequestKind,
                                      brennox::IndexSet::indexSetWithRange(range), nullptr, error);
}

// From the end, and each message is given up as soon as the script has its own copy: a long listing
// is never there twice.
Napi::Value FetchMessagesByUIDCall::Result(Napi::Env env, brennox::ErrorCode) const {
  const std::uint32_t count = result ? result->count() : 0;
  Napi::Array messages = Napi::Array::New(env, count);
  for (std::uint32_t i = count; i > 0; --i) {
    const Napi::HandleScope scope(env);
    messages.Set(i - 1, WIMAPMessage::NewInstance(env, result->at<brennox::IMAPMessage>(i - 1)));
    result->removeLastObject();
  }
  return messages;
}

template <FetchOneMessage kOperation>
FetchMessageCall<kOperation>::FetchMessageCall(const Napi::CallbackInfo& info) {
  static constexpr char kText[] = "first must be a string. Second must be a number";
  folder = StringArgument(info, 0, kText);
  number = UInt32Argument(info, 1, kText);
}

template <FetchOneMessage kOperation>
void FetchMessageCall<kOperation>::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  result = (session.*kOperation)(Name(folder), number, nullptr, error);
}

template <FetchOneMessage kOperation>
Napi::Value FetchMessageCall<kOperation>::Result(Napi::Env env, brennox::ErrorCode) const {
  return result ? WData::NewInstance(env, result.get()) : env.Undefined();
}
template struct FetchMessageCall<&brennox::IMAPSession::fetchMessageByUID>;
template struct FetchMessageCall<&brennox::IMAPSession::fetchMessageByNumber>;

SyncMessagesByUIDCall::SyncMessagesByUIDCall(const Napi::CallbackInfo& info, std::size_t count)
    : folder(StringArgument(info, 0, "first parameter must be a string (folder name)")) {
  Require(info[1].IsNumber(), info.Env(), "second parameter must be a number (modseq)");
  modSequence = UInt64(info[1]);
  range = RangeArguments(info, 2, count);
}

void SyncMessagesByUIDCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  result = session.syncMessagesByUID(Name(folder), kRequestKind,
                                     brennox::IndexSet::indexSetWithRange(range), modSequence,
                                     nullptr, error);
}

Napi::Value SyncMessagesByUIDCall::Result(Napi::Env env, brennox::ErrorCode) const {
  return result ? WIMAPSyncResult::NewInstance(env, result.get())
                : ConstructorMap::NewInstance(env, WIMAPSyncResult::kName);
}

template <StoreFlags kOperation>
StoreFlagsCall<kOperation>::StoreFlagsCall(const Napi::CallbackInfo& info) {
  Require(info.Length() >= 4, info.Env(), kWrongNumber);
  folder = StringArgument(info, 0, kWrongArguments);
  number = UInt32Argument(info, 1, kWrongArguments);
  Require(info[2].IsNumber() && info[3].IsNumber(), info.Env(), kWrongArguments);
  kind = Enum<brennox::IMAPStoreFlagsRequestKind>::FromScript(info[2]);
  flags = Enum<brennox::MessageFlag>::FromScript(info[3]);
}

template <StoreFlags kOperation>
void StoreFlagsCall<kOperation>::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  (session.*kOperation)(Name(folder), brennox::IndexSet::indexSetWithIndex(number), kind, flags,
                        error);
}
template struct StoreFlagsCall<&brennox::IMAPSession::storeFlagsByUID>;
template struct StoreFlagsCall<&brennox::IMAPSession::storeFlagsByNumber>;

CopyMessagesCall::CopyMessagesCall(const Napi::CallbackInfo& info) {
  Require(info.Length() >= 3, info.Env(), kWrongNumber);
  folder = StringArgument(info, 0, kWrongArguments);
  destination = StringArgument(info, 1, kWrongArguments);
  Require(info[2].IsNumber(), info.Env(), kWrongArguments);
  std::uint64_t length = 1;
  if (!info[3].IsUndefined()) {
    Require(info[3].IsNumber(), info.Env(),
            "fourth parameter if presents must be a number (range end)");
    length = UInt64(info[3]);
  }
  range = brennox::RangeMake(UInt64(info[2]), length);
}

void CopyMessagesCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  brennox::HashMap* mapping = nullptr;
  session.copyMessages(Name(folder), brennox::IndexSet::indexSetWithRange(range), Name(destination),
                       &mapping, error);
}

AppendMessageCall::AppendMessageCall(const Napi::CallbackInfo& info) {
  Require(info.Length() >= 3, info.Env(), kWrongNumber);
  folder = StringArgument(info, 0, kWrongArguments);
  WData* const data = WData::From(info[1]);
  Require(data != nullptr, info.Env(), kWrongArguments);
  message = data->held();
  flags = UInt32Argument(info, 2, kWrongArguments);
}

void AppendMessageCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  *error = CurlAppend(session, folder, *message, flags, &uid);
}

void AppendMessageCall::Check(Napi::Env env, brennox::ErrorCode error) const {
  if (error != brennox::ErrorNone) {
    throw Napi::Error::New(env, std::to_string(static_cast<int>(error)));
  }
}

Napi::Value AppendMessageCall::Result(Napi::Env env, brennox::ErrorCode) const {
  return UInt32::ToScript(env, uid);
}

void CapabilityCall::Run(brennox::IMAPSession& session, brennox::ErrorCode* error) {
  brennox::IndexSet* const capabilities = session.capability(error);
  isThere = capabilities != nullptr &&
            capabilities->containsIndex(static_cast<std::uint64_t>(capability));
}

void CapabilityCall::Check(Napi::Env env, brennox::ErrorCode error) const {
  if (error != brennox::ErrorNone) {
    throw Napi::Error::New(env, "Unable to obtain capabilities. " + ErrorCodeText(error));
  }
}

Napi::Value CapabilityCall::Result(Napi::Env env, brennox::ErrorCode) const {
  return Flag::ToScript(env, isThere);
}

}  // namespace velkor
