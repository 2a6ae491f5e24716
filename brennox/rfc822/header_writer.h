// Header fields as they go onto the wire: ASCII lines of at most 78 characters where the text
// allows and never above 998, ended by CRLF. No text handed in can end a line or begin a field of
// its own. Output depends on the input alone.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace brennox {

class Address;
class Array;
class MessageHeader;
class String;

namespace rfc822 {

// True for a name that RFC 5322 section 3.6.8 allows and a line can hold.
bool isFieldName(std::string_view name);

// All of these append one field to `out`, or nothing when there is nothing to say.

// Free text (UTF-8), encoded-words where needed.
void writeText(std::string_view name, std::string_view utf8, std::string& out);
// Text in a syntax of its own: folded at blanks, never encoded. Control characters become blanks,
// 8-bit text stays.
void writeStructured(std::string_view name, std::string_view value, std::string& out);
void writeAddress(std::string_view name, Address* address, std::string& out);
void writeAddresses(std::string_view name, Array* addresses, std::string& out);
// With angle brackets put around.
void writeMessageID(std::string_view name, std::string_view id, std::string& out);
// An array of String.
void writeMessageIDs(std::string_view name, Array* ids, std::string& out);
void writeDate(std::string_view name, std::time_t date, std::string& out);

// The fields of a header without the empty line at the end: Date, From, Sender, Reply-To, To, Cc,
// Message-ID, In-Reply-To, References, Subject, User-Agent as far as they are set, then the extra
// fields. Left out are Bcc; extra fields with an illegal name, MIME-Version and Content-* (they
// belong to whoever writes the body), Date and Message-ID; and from the extra fields that were
// parsed out of a received message its trace (Received, Return-Path, signatures of its relays).
void writeHeader(MessageHeader* header, std::string& out);

// An address as a list has it: `=?utf-8?Q?Name?= <mailbox>`; "" for one that no list can hold.
std::string addressText(Address* address);

}  // namespace rfc822
}  // namespace brennox
