#include <brennox/Array.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/Data.h>
#include <brennox/HashMap.h>
#include <brennox/IMAPFolder.h>
#include <brennox/IMAPFolderInfo.h>
#include <brennox/IMAPFolderStatus.h>
#include <brennox/IMAPMessage.h>
#include <brennox/IMAPPart.h>
#include <brennox/IMAPSession.h>
#include <brennox/IMAPSyncResult.h>
#include <brennox/IndexSet.h>
#include <brennox/MessageHeader.h>
#include <brennox/String.h>
#include <brennox/Value.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "net/scripted_server.h"

namespace brennox {
namespace {

using namespace std::chrono_literals;
using net::ScriptedServer;
using Peer = ScriptedServer::Peer;

String* str(const char* text) {
  return String::stringWithUTF8Characters(text);
}

// A server that logs anybody in and then follows the test's script.
class Account {
 public:
  Account(std::string capabilities, std::function<void(Peer&)> script)
      : server_([capabilities = std::move(capabilities), script = std::move(script)](Peer& peer) {
          peer.greet(capabilities);
          EXPECT_THAT(peer.answer("* CAPABILITY " + capabilities + "\r\n"),
                      ::testing::HasSubstr("LOGIN"));
          script(peer);
        }) {
    session->setHostname(str("127.0.0.1"));
    session->setPort(server_.port());
    session->setConnectionType(ConnectionTypeClear);
    session->setUsername(str("user"));
    session->setPassword(str("pass"));
    session->setTimeout(1);
  }

  const ScriptedServer& server() const { return server_; }
  const Ref<IMAPSession> session = make<IMAPSession>();
  ErrorCode error = ErrorNone;

 private:
  const AutoreleasePool pool_;
  ScriptedServer server_;
};

IndexSet* everything() {
  return IndexSet::indexSetWithRange(RangeMake(1, kRangeToTheEnd));
}

constexpr auto kUsualKind = static_cast<IMAPMessagesRequestKind>(47);

// Answers SELECT as a server does.
void answerSelect(Peer& peer, int exists = 3, int uidNext = 10) {
  EXPECT_THAT(
      peer.answer("* " + std::to_string(exists) +
                      " EXISTS\r\n* 0 RECENT\r\n* FLAGS (\\Seen)\r\n"
                      "* OK [UIDVALIDITY 77] ok\r\n* OK [UIDNEXT " +
                      std::to_string(uidNext) + "] ok\r\n* OK [PERMANENTFLAGS (\\Seen \\*)] ok\r\n",
                  "OK [READ-WRITE] done"),
      ::testing::StartsWith("SELECT"));
}

TEST(IMAPSession, StartsWithUsefulSettings) {
  const AutoreleasePool pool;
  const auto session = make<IMAPSession>();
  EXPECT_EQ(session->port(), 0U);
  EXPECT_EQ(session->connectionType(), ConnectionTypeTLS);
  EXPECT_TRUE(session->isCheckCertificateEnabled());
  EXPECT_FALSE(session->isStrictGost());
  EXPECT_EQ(session->timeout(), 30);
  EXPECT_EQ(session->hostname(), nullptr);
  EXPECT_TRUE(session->isDisconnected());
  EXPECT_EQ(session->storedCapabilities(), nullptr);
  EXPECT_FALSE(session->isQResyncEnabled());
  ErrorCode error = ErrorNone;
  session->connectIfNeeded(&error);
  EXPECT_EQ(error, ErrorConnection);
  session->disconnect();
}

TEST(IMAPSession, LogsInAndOut) {
  Account account("IMAP4rev1 MOVE", [](Peer& peer) {
    EXPECT_EQ(peer.answer(""), "NOOP");
    EXPECT_EQ(peer.answer("* BYE bye\r\n"), "LOGOUT");
  });
  const AutoreleasePool pool;
  account.session->loginIfNeeded(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_FALSE(account.session->isDisconnected());
  EXPECT_TRUE(account.session->storedCapabilities()->containsIndex(10));
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
  account.session->disconnect();
  EXPECT_TRUE(account.session->isDisconnected());
  EXPECT_EQ(account.server().connections(), 1);
}

TEST(IMAPSession, TellsWhyALoginFailed) {
  const struct {
    const char* answer;
    ErrorCode error;
  } kTable[] = {
      {"NO wrong", ErrorAuthentication},
      {"NO [AUTHENTICATIONFAILED] wrong", ErrorAuthentication},
      {"NO [UNAVAILABLE] later", ErrorAccountUnavailable},
      {"NO [LIMIT] slower", ErrorAccountUnavailable},
      {"NO [PRIVACYREQUIRED] not here", ErrorAuthenticationMechanism},
      {"BAD what", ErrorAuthentication},
  };
  for (const auto& row : kTable) {
    const AutoreleasePool pool;
    ScriptedServer server([&row](Peer& peer) {
      peer.greet("IMAP4rev1");
      peer.answer("", row.answer);
      peer.line();
    });
    const auto session = make<IMAPSession>();
    session->setHostname(str("127.0.0.1"));
    session->setPort(server.port());
    session->setConnectionType(ConnectionTypeClear);
    session->setUsername(str("user"));
    session->setPassword(str("pass"));
    session->setTimeout(1);
    ErrorCode error = ErrorNone;
    session->loginIfNeeded(&error);
    EXPECT_EQ(error, row.error) << row.answer;
  }
}

TEST(IMAPSession, SendsNoCredentialsWhereItMayNot) {
  const AutoreleasePool pool;
  ScriptedServer server([](Peer& peer) {
    peer.greet("IMAP4rev1 LOGINDISABLED");
    EXPECT_EQ(peer.line(), "");
  });
  const auto session = make<IMAPSession>();
  session->setHostname(str("127.0.0.1"));
  session->setPort(server.port());
  session->setConnectionType(ConnectionTypeClear);
  session->setUsername(str("user"));
  session->setPassword(str("pass"));
  session->setTimeout(1);
  ErrorCode error = ErrorNone;
  session->loginIfNeeded(&error);
  EXPECT_EQ(error, ErrorAuthenticationMechanism);
  session->setUsername(String::stringWithUTF8Characters("us\0er", 5));
  session->loginIfNeeded(&error);
  EXPECT_EQ(error, ErrorInvalidArgument);
}

TEST(IMAPSession, RefusesNamesThatWouldEndTheLine) {
  Account account("IMAP4rev1 LITERAL+", [](Peer& peer) { EXPECT_EQ(peer.answer(""), "NOOP"); });
  const AutoreleasePool pool;
  for (String* name :
       {str("a\r\nB9 DELETE INBOX"), str("a\nb"), String::stringWithUTF8Characters("a\0b", 3)}) {
    for (int call = 0; call < 8; ++call) {
      account.error = ErrorNone;
      switch (call) {
        case 0:
          account.session->createFolder(name, &account.error);
          break;
        case 1:
          account.session->renameFolder(str("x"), name, &account.error);
          break;
        case 2:
          account.session->select(name, &account.error);
          break;
        case 3:
          account.session->folderStatus(name, &account.error);
          break;
        case 4:
          account.session->copyMessages(str("x"), IndexSet::indexSetWithIndex(1), name, nullptr,
                                        &account.error);
          break;
        case 5:
          account.session->moveMessages(name, IndexSet::indexSetWithIndex(1), str("x"), nullptr,
                                        &account.error);
          break;
        case 6:
          account.session->subscribeFolder(name, &account.error);
          break;
        default:
          account.session->expunge(name, &account.error);
          break;
      }
      EXPECT_EQ(account.error,
                call == 4 || call == 5 || call < 8 ? ErrorInvalidArgument : ErrorNone)
          << call;
    }
  }
  // The connection has seen none of it.
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
}

TEST(IMAPSession, ListsFolders) {
  Account account("IMAP4rev1 NAMESPACE", [](Peer& peer) {
    EXPECT_EQ(peer.answer("* NAMESPACE ((\"\" \"/\")) ((\"~\" \"/\")) NIL\r\n"), "NAMESPACE");
    EXPECT_EQ(peer.answer("* LIST (\\HasNoChildren) \"/\" inbox\r\n"
                          "* LIST (\\Noselect) \"/\" \"a \\\"b\\\"\"\r\n"
                          "* 5 EXISTS\r\n"
                          "* LIST (\\Trash) NIL {6}\r\n&APw-x\r\n"
                          "* LIST broken\r\n"
                          "* LIST () \"/\" Entwürfe\r\n"
                          "* LIST () \"/\" NIL\r\n"),
              "LIST \"\" \"*\"");
    EXPECT_EQ(peer.answer("* LIST () \"/\" ~bob/x\r\n* LIST () \"/\" inbox\r\n"),
              "LIST \"\" \"~*\"");
  });
  const AutoreleasePool pool;
  Array* const folders = account.session->fetchAllFolders(&account.error);
  ASSERT_EQ(account.error, ErrorNone);
  std::vector<std::string> paths;
  for (unsigned int i = 0; i < folders->count(); ++i) {
    paths.emplace_back(textOf(folders->at<IMAPFolder>(i)->path()));
  }
  EXPECT_THAT(paths,
              ::testing::ElementsAre("inbox", "a \"b\"", "&APw-x", "Entwürfe", "NIL", "~bob/x"));
  EXPECT_EQ(folders->at<IMAPFolder>(0)->flags(), IMAPFolderFlagInbox);
  EXPECT_EQ(folders->at<IMAPFolder>(0)->delimiter(), '/');
  EXPECT_EQ(folders->at<IMAPFolder>(1)->flags(), IMAPFolderFlagNoSelect);
  EXPECT_EQ(folders->at<IMAPFolder>(2)->flags(), IMAPFolderFlagTrash);
  EXPECT_EQ(folders->at<IMAPFolder>(2)->delimiter(), '\0');
}

TEST(IMAPSession, ListsMessages) {
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(
        peer.answer(
            "* 1 FETCH (UID 3 FLAGS (\\Seen $Forwarded) INTERNALDATE \"17-Jul-1996 02:44:25 "
            "-0700\" RFC822.SIZE 4286 ENVELOPE (\"Wed, 17 Jul 1996 02:23:25 -0700\" \"Hi\" ((\"A. "
            "Person\" NIL \"a\" \"example.com\")) NIL NIL ((NIL NIL \"b\" \"example.com\")) NIL "
            "NIL "
            "NIL \"<m1@example.com>\") BODYSTRUCTURE (\"TEXT\" \"PLAIN\" (\"CHARSET\" \"utf-8\") "
            "NIL "
            "NIL \"7BIT\" 3028 92) BODY[HEADER.FIELDS (SUBJECT)] {16}\r\nSubject: Longer\r)\r\n"
            // Unasked, and about a message that is none of ours.
            "* 9 FETCH (FLAGS (\\Deleted))\r\n"
            "* OK still here\r\n"
            // No UID: nobody can say which one it is.
            "* 2 FETCH (FLAGS ())\r\n"
            // Cut off in the middle of its structure.
            "* 3 FETCH (UID 5 FLAGS (\\Draft) BODYSTRUCTURE ((\"TEXT\" \"PLAIN\")\r\n"
            // More about the first one.
            "* 1 FETCH (UID 3 FLAGS (\\Seen \\Answered))\r\n"),
        "UID FETCH 1:* (UID FLAGS INTERNALDATE RFC822.SIZE ENVELOPE BODYSTRUCTURE "
        "BODY.PEEK[HEADER.FIELDS (SUBJECT)])");
  });
  const AutoreleasePool pool;
  Array* const messages = account.session->fetchMessagesByUID(
      str("INBOX"), kUsualKind, everything(), nullptr, &account.error);
  ASSERT_EQ(account.error, ErrorNone);
  ASSERT_EQ(messages->count(), 2U);
  auto* const first = messages->at<IMAPMessage>(0);
  EXPECT_EQ(first->uid(), 3U);
  EXPECT_EQ(first->sequenceNumber(), 1U);
  EXPECT_EQ(first->size(), 4286U);
  EXPECT_EQ(first->flags(), MessageFlagSeen | MessageFlagAnswered);
  EXPECT_EQ(first->session(), account.session.get());
  ASSERT_NE(first->mainPart(), nullptr);
  EXPECT_EQ(textOf(first->mainPart()->mimeType()), "text/plain");
  EXPECT_EQ(textOf(first->mainPart()->partID()), "1");
  EXPECT_EQ(first->mainPart()->size(), 3028U);
  auto* const second = messages->at<IMAPMessage>(1);
  EXPECT_EQ(second->uid(), 5U);
  EXPECT_EQ(second->flags(), MessageFlagDraft);
  EXPECT_EQ(second->mainPart(), nullptr);
}

TEST(IMAPSession, KeepsToTheRangeThatWasAskedFor) {
  // "5:*" includes the last message even when its UID is lower.
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer("* 3 FETCH (UID 4 FLAGS ())\r\n"), "UID FETCH 5:* (UID FLAGS)");
  });
  const AutoreleasePool pool;
  Array* const messages = account.session->fetchMessagesByUID(
      str("INBOX"), IMAPMessagesRequestKindFlags,
      IndexSet::indexSetWithRange(RangeMake(5, kRangeToTheEnd)), nullptr, &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(messages->count(), 0U);
  EXPECT_EQ(account.session->fetchMessagesByUID(str("INBOX"), IMAPMessagesRequestKindFlags,
                                                IndexSet::indexSet(), nullptr, &account.error),
            nullptr);
  EXPECT_EQ(account.error, ErrorInvalidArgument);
}

TEST(IMAPSession, FetchesBodies) {
  const std::string body(300000, 'b');
  Account account("IMAP4rev1", [&body](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer("* 2 FETCH (FLAGS ())\r\n* 1 FETCH (UID 3 BODY[] {300000}\r\n" + body +
                          ")\r\n"),
              "UID FETCH 3 (BODY.PEEK[])");
    EXPECT_EQ(peer.answer("* 1 FETCH (UID 3 BODY[] \"short \\\"one\\\"\")\r\n"),
              "UID FETCH 3 (BODY.PEEK[])");
    // It may have come since.
    EXPECT_EQ(peer.answer("* 4 EXISTS\r\n"), "NOOP");
    EXPECT_EQ(peer.answer(""), "UID FETCH 10 (BODY.PEEK[])");
    EXPECT_EQ(peer.answer("* 2 FETCH (UID 5 BODY[1.2] {8}\r\nYWJj\r\nZA BODY[2] {5}\r\na=20b)\r\n"),
              "UID FETCH 5 (BODY.PEEK[1.2] BODY.PEEK[2])");
    EXPECT_EQ(peer.answer(""), "NOOP");
  });
  const AutoreleasePool pool;
  IMAPSession& session = *account.session;
  EXPECT_EQ(session.fetchMessageByUID(str("INBOX"), 3, nullptr, &account.error)->view(), body);
  EXPECT_EQ(session.fetchMessageByUID(str("inbox"), 3, nullptr, &account.error)->view(),
            "short \"one\"");
  EXPECT_EQ(session.fetchMessageByUID(str("INBOX"), 10, nullptr, &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorNone);
  const auto first = make<IMAPPart>();
  first->setPartID(str("1.2"));
  first->setEncoding(str("base64"));
  const auto second = make<IMAPPart>();
  second->setPartID(str("2"));
  second->setEncoding(str("quoted-printable"));
  Array* const parts = Array::arrayWithObject(first.get());
  parts->addObject(second.get());
  HashMap* const contents = session.fetchPartsByUID(str("INBOX"), 5, parts, &account.error);
  ASSERT_NE(contents, nullptr);
  EXPECT_EQ(static_cast<Data*>(contents->objectForKey(str("1.2")))->view(), "abcd");
  EXPECT_EQ(static_cast<Data*>(contents->objectForKey(str("2")))->view(), "a b");
  EXPECT_EQ(session.fetchMessageByUID(str("INBOX"), 0, nullptr, &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorInvalidArgument);
  EXPECT_EQ(session.fetchMessageByNumber(str("INBOX"), 9, nullptr, &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorNone);
  first->setPartID(str("1] BODY[2"));
  EXPECT_EQ(session.fetchPartByUID(str("INBOX"), 5, first.get(), &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorInvalidArgument);
}

TEST(IMAPSession, Synchronises) {
  Account account("IMAP4rev1 ENABLE QRESYNC", [](Peer& peer) {
    EXPECT_EQ(peer.answer("* ENABLED QRESYNC\r\n"), "ENABLE QRESYNC");
    EXPECT_EQ(peer.answer("* 3 EXISTS\r\n* OK [UIDNEXT 50] ok\r\n* OK [HIGHESTMODSEQ 900] ok\r\n",
                          "OK [READ-WRITE] ok"),
              "SELECT INBOX (CONDSTORE)");
    EXPECT_EQ(peer.answer("* VANISHED (EARLIER) 3:5,9,40:4294967295\r\n"
                          "* 2 FETCH (UID 12 FLAGS (\\Seen) MODSEQ (899))\r\n"),
              // The messages behind the last one may be those that vanished.
              "UID FETCH 1:4294967295 (UID FLAGS MODSEQ) (CHANGEDSINCE 800 VANISHED)");
    // Two messages came and went unseen.
    EXPECT_EQ(peer.answer("* STATUS INBOX (UIDNEXT 52)\r\n"), "STATUS INBOX (UIDNEXT)");
    EXPECT_EQ(peer.answer(""), "NOOP");
    EXPECT_EQ(peer.answer(""), "UID FETCH 1:4294967295 (UID FLAGS MODSEQ)");
  });
  const AutoreleasePool pool;
  IMAPSyncResult* result = account.session->syncMessagesByUID(
      str("INBOX"), IMAPMessagesRequestKindFlags, everything(), 800, nullptr, &account.error);
  ASSERT_EQ(account.error, ErrorNone);
  EXPECT_TRUE(account.session->isQResyncEnabled());
  EXPECT_EQ(account.session->modSequenceValue(), 900U);
  ASSERT_EQ(result->modifiedOrAddedMessages()->count(), 1U);
  EXPECT_EQ(result->modifiedOrAddedMessages()->at<IMAPMessage>(0)->modSeqValue(), 899U);
  ASSERT_NE(result->vanishedMessages(), nullptr);
  // UIDs that no message has had yet are left out.
  EXPECT_EQ(result->vanishedMessages()->count(), 4U + 12U);
  EXPECT_TRUE(result->vanishedMessages()->containsIndex(51));
  EXPECT_FALSE(result->vanishedMessages()->containsIndex(52));
  result = account.session->syncMessagesByUID(str("INBOX"), IMAPMessagesRequestKindFlags,
                                              everything(), 0, nullptr, &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(result->vanishedMessages()->count(), 0U);
}

TEST(IMAPSession, SumsUpVanishedMessagesInAnyOrder) {
  std::string backwards;
  for (int uid = 200001; uid > 0; uid -= 2) {
    backwards += (backwards.empty() ? "" : ",") + std::to_string(uid);
  }
  Account account("IMAP4rev1 QRESYNC ENABLE", [&](Peer& peer) {
    EXPECT_EQ(peer.answer("* ENABLED QRESYNC\r\n"), "ENABLE QRESYNC");
    answerSelect(peer, 1, 300000);
    EXPECT_THAT(
        peer.answer("* VANISHED (EARLIER) " + backwards + "\r\n* VANISHED (EARLIER) 2:4\r\n"),
        ::testing::StartsWith("UID FETCH"));
  });
  const AutoreleasePool pool;
  IMAPSyncResult* const result = account.session->syncMessagesByUID(
      str("A"), kUsualKind, everything(), 5, nullptr, &account.error);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->vanishedMessages()->count(), 100001U + 2U);
  EXPECT_EQ(RangeRightBound(result->vanishedMessages()->allRanges()[0]), 5U);
}

TEST(IMAPSession, AsksForManyPartsInLinesOfBearableLength) {
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    int commands = 0;
    for (std::string command; !(command = peer.line()).empty(); ++commands) {
      EXPECT_LT(command.size(), 8000U);
      const std::size_t open = command.rfind('[') + 1;
      const std::string last = command.substr(open, command.rfind(']') - open);
      peer.send("* 1 FETCH (UID 4 BODY[" + last + "] {1}\r\nx)\r\n" +
                command.substr(0, command.find(' ')) + " OK done\r\n");
    }
    EXPECT_GT(commands, 3);
  });
  const AutoreleasePool pool;
  const auto parts = make<Array>();
  for (int i = 1; i <= 2000; ++i) {
    const auto part = make<IMAPPart>();
    part->setPartID(make<String>(std::to_string(i)).get());
    parts->addObject(part.get());
  }
  HashMap* const contents =
      account.session->fetchPartsByUID(str("A"), 4, parts.get(), &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  ASSERT_NE(contents, nullptr);
  EXPECT_GT(contents->count(), 3U);
  EXPECT_NE(contents->objectForKey(str("2000")), nullptr);
  account.session->disconnect();
}

TEST(IMAPSession, StoresFlags) {
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer(""), "UID STORE 5 +FLAGS.SILENT (\\Seen $Forwarded)");
    EXPECT_EQ(peer.answer("", "NO [READ-ONLY] no"), "STORE 2 FLAGS.SILENT ()");
  });
  const AutoreleasePool pool;
  account.session->storeFlagsByUID(
      str("INBOX"), IndexSet::indexSetWithIndex(5), IMAPStoreFlagsRequestKindAdd,
      static_cast<MessageFlag>(MessageFlagSeen | MessageFlagForwarded), &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  account.session->storeFlagsByNumber(str("INBOX"), IndexSet::indexSetWithIndex(2),
                                      IMAPStoreFlagsRequestKindSet, MessageFlagNone,
                                      &account.error);
  EXPECT_EQ(account.error, ErrorStore);
  account.session->storeFlagsByUID(str("INBOX"), IndexSet::indexSetWithIndex(5),
                                   static_cast<IMAPStoreFlagsRequestKind>(3), MessageFlagSeen,
                                   &account.error);
  EXPECT_EQ(account.error, ErrorInvalidArgument);
}

TEST(IMAPSession, MovesWithMove) {
  Account account("IMAP4rev1 MOVE UIDPLUS", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer("* OK [COPYUID 9 5 31] moved\r\n* 2 EXPUNGE\r\n"), "UID MOVE 5 Archive");
  });
  const AutoreleasePool pool;
  HashMap* mapping = nullptr;
  account.session->moveMessages(str("INBOX"), IndexSet::indexSetWithIndex(5), str("Archive"),
                                &mapping, &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  ASSERT_EQ(mapping->count(), 1U);
  EXPECT_EQ(static_cast<Value*>(mapping->allValues()->objectAtIndex(0))->unsignedIntValue(), 31U);
}

TEST(IMAPSession, MovesWithoutMoveAndExpungesOnlyItsOwn) {
  Account account("IMAP4rev1 UIDPLUS", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer("", "OK [COPYUID 9 5 31] copied"), "UID COPY 5 Archive");
    EXPECT_EQ(peer.answer(""), "UID STORE 5 +FLAGS.SILENT (\\Deleted)");
    EXPECT_EQ(peer.answer(""), "UID EXPUNGE 5");
    EXPECT_EQ(peer.answer("", "NO [OVERQUOTA] full"), "UID COPY 6 Archive");
    EXPECT_EQ(peer.answer("", "NO [TRYCREATE] none"), "UID COPY 6 None");
    EXPECT_EQ(peer.answer(""), "NOOP");
  });
  const AutoreleasePool pool;
  HashMap* mapping = nullptr;
  account.session->moveMessages(str("INBOX"), IndexSet::indexSetWithIndex(5), str("Archive"),
                                &mapping, &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(mapping->count(), 1U);
  account.session->moveMessages(str("INBOX"), IndexSet::indexSetWithIndex(6), str("Archive"),
                                &mapping, &account.error);
  EXPECT_EQ(account.error, ErrorQuota);
  EXPECT_EQ(mapping, nullptr);
  account.session->moveMessages(str("INBOX"), IndexSet::indexSetWithIndex(6), str("None"), &mapping,
                                &account.error);
  EXPECT_EQ(account.error, ErrorMove);
  account.session->noop(&account.error);
}

TEST(IMAPSession, MovesWithoutUidplusAndExpungesNothing) {
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer(""), "UID COPY 5 Archive");
    EXPECT_EQ(peer.answer(""), "UID STORE 5 +FLAGS.SILENT (\\Deleted)");
    EXPECT_EQ(peer.answer(""), "NOOP");
  });
  const AutoreleasePool pool;
  HashMap* mapping = nullptr;
  account.session->moveMessages(str("INBOX"), IndexSet::indexSetWithIndex(5), str("Archive"),
                                &mapping, &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(mapping, nullptr);
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
}

TEST(IMAPSession, AsksForUidnextAfreshWithEverySelect) {
  Account account("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer, 3, 10);
    answerSelect(peer, 4, 11);
    // An old server leaves it out.
    EXPECT_EQ(peer.answer("* 4 EXISTS\r\n* OK [UIDVALIDITY 5] ok\r\n"), "SELECT Old");
    EXPECT_EQ(peer.answer("* STATUS Old (UIDNEXT 88)\r\n"), "STATUS Old (UIDNEXT)");
    EXPECT_EQ(peer.answer("", "NO none"), "SELECT Gone");
  });
  const AutoreleasePool pool;
  account.session->selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(account.session->uidNext(), 10U);
  EXPECT_EQ(account.session->uidValidity(), 77U);
  account.session->selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(account.session->uidNext(), 11U);
  account.session->selectIfNeeded(str("Old"), &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(account.session->uidNext(), 88U);
  account.session->selectIfNeeded(str("Gone"), &account.error);
  EXPECT_EQ(account.error, ErrorFolderNotFound);
  EXPECT_EQ(account.session->uidNext(), 0U);
}

TEST(IMAPSession, LearnsTheNextUidFromTheAnswerToAnAppend) {
  Account account("IMAP4rev1 UIDPLUS", [](Peer& peer) {
    answerSelect(peer, 3, 10);
    // The view has not got the message: it is brought up to date before the message is fetched.
    EXPECT_EQ(peer.answer("* 4 EXISTS\r\n"), "NOOP");
    EXPECT_THAT(peer.answer("* 4 FETCH (UID 12 BODY[] {2}\r\nhi)\r\n"),
                ::testing::StartsWith("UID FETCH 12 "));
    // Each piece of news serves once.
    answerSelect(peer, 5, 13);
    // And none of these is one.
    for (int i = 0; i < 9; ++i) {
      answerSelect(peer, 5, 13);
    }
    EXPECT_EQ(peer.answer("", "NO none"), "SELECT Gone");
  });
  const AutoreleasePool pool;
  IMAPSession& session = *account.session;
  session.selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(session.uidNext(), 10U);
  // Somebody else's message 10 and 11 came first.
  EXPECT_EQ(session.appended(str("INBOX"), "A1 OK [APPENDUID 77 12] done"), 12U);
  session.selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(session.uidNext(), 13U);
  ASSERT_NE(session.fetchMessageByUID(str("INBOX"), 12, nullptr, &account.error), nullptr);
  session.selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(session.uidNext(), 13U);
  for (const char* answer :
       {"", "A1 OK done", "A1 NO [APPENDUID 77 13] no", "* OK [APPENDUID 77 13] done",
        "A1 OK [APPENDUID 78 13] another folder of that name", "A1 OK [APPENDUID 77 13:14] several",
        "A1 OK [APPENDUID 77 x]", "A1 OK [APPENDUID 77 0] none"}) {
    EXPECT_EQ(session.appended(str("INBOX"), answer), 0U) << answer;
    session.selectIfNeeded(str("INBOX"), &account.error);
    EXPECT_EQ(session.uidNext(), 13U) << answer;
  }
  // A message that lies behind what the server said before: what is true now, only it knows.
  EXPECT_EQ(session.appended(str("INBOX"), "A1 OK [APPENDUID 77 3] done"), 3U);
  session.selectIfNeeded(str("INBOX"), &account.error);
  EXPECT_EQ(session.uidNext(), 13U);
  // Another folder.
  EXPECT_EQ(session.appended(str("Other"), "A1 OK [APPENDUID 77 13] done"), 0U);
  EXPECT_EQ(session.appended(str("INBOX"), "A1 OK [APPENDUID 77 13] done"), 13U);
  session.selectIfNeeded(str("Gone"), &account.error);
  EXPECT_EQ(account.error, ErrorFolderNotFound);
  EXPECT_EQ(session.appended(str("INBOX"), "A1 OK [APPENDUID 77 14] done"), 0U);
}

TEST(IMAPSession, TellsTheStateOfFolders) {
  Account account("IMAP4rev1 CONDSTORE", [](Peer& peer) {
    EXPECT_EQ(peer.answer("* STATUS Other (MESSAGES 1)\r\n* STATUS \"A\" (MESSAGES 5 RECENT 1 "
                          "UIDNEXT 9 UIDVALIDITY 7 UNSEEN 2 HIGHESTMODSEQ 9007199254740993)\r\n"),
              "STATUS A (MESSAGES RECENT UIDNEXT UIDVALIDITY UNSEEN HIGHESTMODSEQ)");
    EXPECT_THAT(peer.answer("", "NO none"), ::testing::StartsWith("STATUS"));
    EXPECT_THAT(peer.answer("* STATUS A broken\r\n"), ::testing::StartsWith("STATUS"));
    EXPECT_EQ(peer.answer("* 4 EXISTS\r\n* OK [UNSEEN 3] ok\r\n* OK [UIDNEXT 9] ok\r\n* OK "
                          "[PERMANENTFLAGS (\\Seen \\*)] ok\r\n"),
              "SELECT A (CONDSTORE)");
    EXPECT_EQ(peer.answer("* 3 FETCH (UID 6)\r\n"), "FETCH 3 (UID)");
    // The folder is selected by now, so its view is brought up to date first.
    EXPECT_EQ(peer.answer("* 5 EXISTS\r\n"), "NOOP");
    EXPECT_THAT(peer.answer("* STATUS A (MESSAGES 5)\r\n"), ::testing::StartsWith("STATUS A "));
    EXPECT_THAT(peer.answer("* STATUS B (MESSAGES 1)\r\n"), ::testing::StartsWith("STATUS B "));
  });
  const AutoreleasePool pool;
  IMAPFolderStatus* const status = account.session->folderStatus(str("A"), &account.error);
  ASSERT_NE(status, nullptr);
  EXPECT_EQ(status->messageCount(), 5U);
  EXPECT_EQ(status->unseenCount(), 2U);
  EXPECT_EQ(status->highestModSeqValue(), 9007199254740993U);
  EXPECT_EQ(account.session->folderStatus(str("A"), &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorStatus);
  EXPECT_EQ(account.session->folderStatus(str("A"), &account.error), nullptr);
  EXPECT_EQ(account.error, ErrorParse);
  IMAPFolderInfo* const info = account.session->folderInfo(str("A"), &account.error);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(info->firstUnseenUid(), 6U);
  EXPECT_EQ(info->messageCount(), 4);
  EXPECT_TRUE(info->allowsNewPermanentFlags());
  EXPECT_EQ(account.session->folderStatus(str("A"), &account.error)->messageCount(), 5U);
  EXPECT_EQ(account.session->folderStatus(str("B"), &account.error)->messageCount(), 1U);
}

TEST(IMAPSession, LeavesAFolderBeforeItGoes) {
  Account modern("IMAP4rev1 UNSELECT", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer(""), "UNSELECT");
    EXPECT_EQ(peer.answer(""), "DELETE Old");
    EXPECT_EQ(peer.answer(""), "DELETE Other");
  });
  Account old("IMAP4rev1", [](Peer& peer) {
    answerSelect(peer);
    EXPECT_EQ(peer.answer(""), "EXAMINE Old");
    EXPECT_EQ(peer.answer(""), "CLOSE");
    EXPECT_EQ(peer.answer(""), "RENAME Old New");
  });
  const AutoreleasePool pool;
  modern.session->select(str("Old"), &modern.error);
  modern.session->deleteFolder(str("Old"), &modern.error);
  EXPECT_EQ(modern.error, ErrorNone);
  modern.session->deleteFolder(str("Other"), &modern.error);
  EXPECT_EQ(modern.error, ErrorNone);
  old.session->select(str("Old"), &old.error);
  old.session->renameFolder(str("Old"), str("New"), &old.error);
  EXPECT_EQ(old.error, ErrorNone);
}

TEST(IMAPSession, HealsWithTheNextCall) {
  Account account("IMAP4rev1", [](Peer& peer) { peer.answer(""); });
  const AutoreleasePool pool;
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
  // The server has gone meanwhile.
  std::this_thread::sleep_for(50ms);
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorConnection);
  EXPECT_TRUE(account.session->isDisconnected());
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(account.server().connections(), 2);
  // Who only asks for a login gets one.
  std::this_thread::sleep_for(50ms);
  account.session->loginIfNeeded(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
  EXPECT_EQ(account.server().connections(), 3);
}

TEST(IMAPSession, SurvivesWhatServersDo) {
  const struct {
    const char* answer;
    ErrorCode error;
    bool completes;
  } kTable[] = {
      {"* BYE shutting down\r\n", ErrorServerClosed, false},
      {"* BYE shutting down\r\nB2 OK done\r\n", ErrorServerClosed, false},
      {"garbage\r\n", ErrorNone, true},
      {"* \r\n", ErrorNone, true},
      {"*\r\n", ErrorNone, true},
      {"\r\n\r\n", ErrorNone, true},
      {"* 99999999999999 EXISTS\r\n", ErrorNone, true},
      {"* OK [\r\n* OK []\r\n* OK [UIDNEXT x] a\r\n", ErrorNone, true},
      {"+ surprise\r\n", ErrorNone, true},
      {"B1 OK again\r\n", ErrorNone, true},
      {"* 1 FETCH (((((((((\r\n", ErrorNone, true},
      {"* CAPABILITY IMAP4rev1 X\r\n", ErrorNone, true},
      {"* 5 EXPUNGE\r\n* VANISHED 1:4294967295\r\n", ErrorNone, true},
  };
  for (const auto& row : kTable) {
    Account account("IMAP4rev1", [&row](Peer& peer) {
      const std::string command = peer.line();
      peer.send(row.answer);
      if (row.completes) {
        peer.send(command.substr(0, command.find(' ')) + " OK done\r\n");
      }
      peer.answer("");
    });
    const AutoreleasePool pool;
    account.session->noop(&account.error);
    EXPECT_EQ(account.error, row.error) << row.answer;
  }
}

TEST(IMAPSession, EndsWhatGoesBeyondItsBounds) {
  for (const int which : {0, 1, 2}) {
    Account account("IMAP4rev1", [which](Peer& peer) {
      peer.line();
      if (which == 0) {
        peer.send("* 1 FETCH (BODY[] {4000000000}\r\n");
      } else if (which == 1) {
        peer.send("* LIST () \"/\" {999999999999}\r\n");
      } else {
        const std::string piece(1 << 20, 'x');
        for (int i = 0; i < 17 && !peer.isClosed(); ++i) {
          peer.send(piece);
        }
      }
      peer.line();
    });
    const AutoreleasePool pool;
    account.session->noop(&account.error);
    EXPECT_EQ(account.error, ErrorLimitExceeded) << which;
    EXPECT_TRUE(account.session->isDisconnected());
  }
}

TEST(IMAPSession, IsCancelled) {
  Account account("IMAP4rev1", [](Peer& peer) {
    peer.line();
    peer.line();
  });
  const AutoreleasePool pool;
  account.session->setTimeout(30);
  account.session->cancel();
  std::thread other([&] {
    std::this_thread::sleep_for(150ms);
    account.session->cancel();
  });
  const auto start = std::chrono::steady_clock::now();
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorCancelled);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  other.join();
}

TEST(IMAPSession, QueuesOperationsOfSeveralThreads) {
  Account account("IMAP4rev1", [](Peer& peer) {
    while (!peer.answer("* STATUS A (MESSAGES 5)\r\n").empty()) {
    }
  });
  std::vector<std::thread> threads;
  std::atomic<int> good{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        const AutoreleasePool pool;
        ErrorCode error = ErrorNone;
        IMAPFolderStatus* const status = account.session->folderStatus(str("A"), &error);
        good += error == ErrorNone && status != nullptr && status->messageCount() == 5 ? 1 : 0;
        account.session->uidNext();
        account.session->isDisconnected();
        account.session->setTimeout(2 + round % 2);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(good.load(), 160);
  EXPECT_EQ(account.server().connections(), 1);
}

TEST(IMAPSession, IsKeptToOneThreadForSeveralOperations) {
  Account account("IMAP4rev1", [](Peer& peer) {
    for (int uidNext = 10;; ++uidNext) {
      const std::string command =
          peer.answer("* 3 EXISTS\r\n* OK [UIDNEXT " + std::to_string(uidNext) + "] ok\r\n");
      if (command.empty()) {
        return;
      }
    }
  });
  std::vector<std::thread> threads;
  std::atomic<int> torn{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round) {
        const AutoreleasePool pool;
        const IMAPSession::Exclusive turn(account.session.get());
        const IMAPSession::Exclusive again(account.session.get());
        ErrorCode error = ErrorNone;
        account.session->select(str("A"), &error);
        const std::uint32_t first = account.session->uidNext();
        std::this_thread::yield();
        account.session->select(str("A"), &error);
        torn += error != ErrorNone || account.session->uidNext() != first + 1 ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(torn.load(), 0);
  const AutoreleasePool pool;
  account.session->select(str("A"), &account.error);
  EXPECT_EQ(account.session->uidNext(), 10U + 160U);
}

TEST(IMAPSession, WaitsForAgreementToLiterals) {
  Account account("IMAP4rev1", [](Peer& peer) {
    const std::string command = peer.line();
    EXPECT_THAT(command, ::testing::EndsWith("CREATE {2}"));
    peer.send("* OK wait\r\n+ go on\r\n");
    EXPECT_EQ(peer.line(), "é");
    peer.send(command.substr(0, command.find(' ')) + " OK done\r\n");
    EXPECT_EQ(peer.answer("", "NO [CANNOT] never"), "CREATE {2}");
    EXPECT_EQ(peer.answer(""), "NOOP");
  });
  const AutoreleasePool pool;
  account.session->createFolder(str("é"), &account.error);
  EXPECT_EQ(account.error, ErrorNone);
  account.session->createFolder(str("é"), &account.error);
  EXPECT_EQ(account.error, ErrorCreate);
  account.session->noop(&account.error);
  EXPECT_EQ(account.error, ErrorNone);
}

}  // namespace
}  // namespace brennox
