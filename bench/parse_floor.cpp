// The library alone, to the depth that bench/parse.js asks of everybody. parse_floor <passes>
// <file...> prints the milliseconds of the best pass over all files; reading them is not measured.
#include <brennox/Address.h>
#include <brennox/Array.h>
#include <brennox/Attachment.h>
#include <brennox/AutoreleasePool.h>
#include <brennox/MessageHeader.h>
#include <brennox/MessageParser.h>
#include <brennox/String.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

using namespace brennox;

namespace {

std::size_t total = 0;

void add(const String* text) {
  total += textOf(text).size();
}

void addAll(Array* addresses) {
  if (addresses != nullptr) {
    for (const Ref<Object>& address : *addresses) {
      add(static_cast<Address*>(address.get())->nonEncodedRFC822String());
    }
  }
}

// Everything that is in the tree, decoded: texts as texts, the rest as bytes.
void readPart(AbstractPart* root) {
  std::vector<AbstractPart*> open = {root};
  while (!open.empty()) {
    AbstractPart* const part = open.back();
    open.pop_back();
    const AutoreleasePool pool;
    if (Array* const parts = part->parts()) {
      for (const Ref<Object>& child : *parts) {
        open.push_back(static_cast<AbstractPart*>(child.get()));
      }
    } else if (part->partType() == PartType::Message) {
      open.push_back(part->mainPart());
    } else if (textOf(part->mimeType()).substr(0, 5) == "text/") {
      add(static_cast<Attachment*>(part)->decodedString());
    } else {
      total += static_cast<Attachment*>(part)->data()->length();
      add(part->filename());
    }
  }
}

void parse(Data* data) {
  const AutoreleasePool pool;
  MessageParser* const parser = MessageParser::messageParserWithData(data);
  if (MessageHeader* const header = parser->header()) {
    for (const Ref<Object>& name : *header->allExtraHeadersNames()) {
      add(header->extraHeaderValueForName(static_cast<String*>(name.get())));
    }
    add(header->subject());
    add(header->messageID());
    if (Address* const from = header->from()) {
      add(from->nonEncodedRFC822String());
    }
    addAll(header->to());
    addAll(header->cc());
    total += static_cast<std::size_t>(header->date());
  }
  readPart(parser->mainPart());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: parse_floor <passes> <file...>\n");
    return 2;
  }
  const AutoreleasePool pool;
  std::vector<Data*> mails;
  for (int i = 2; i < argc; ++i) {
    mails.push_back(Data::dataWithContentsOfFile(String::stringWithUTF8Characters(argv[i])));
    if (mails.back() == nullptr) {
      std::fprintf(stderr, "cannot read %s\n", argv[i]);
      return 1;
    }
  }
  double best = 0;
  for (int pass = 0; pass < std::atoi(argv[1]); ++pass) {
    const auto start = std::chrono::steady_clock::now();
    for (Data* const mail : mails) {
      parse(mail);
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    best = pass == 0 || took.count() < best ? took.count() : best;
  }
  std::printf("%.3f\n", best);
  return total == 0 ? 1 : 0;
}
