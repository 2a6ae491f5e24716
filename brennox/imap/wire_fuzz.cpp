// Whatever a server sends: framing, the grammar, and the trees made of it.
#include <brennox/AutoreleasePool.h>
#include <brennox/IMAPPart.h>
#include <brennox/MessageHeader.h>

#include <cstdint>
#include <string>

#include "imap/body_structure.h"
#include "imap/capabilities.h"
#include "imap/envelope.h"
#include "imap/fetch_items.h"
#include "imap/flag_names.h"
#include "imap/modified_utf7.h"
#include "imap/number_sets.h"
#include "net/memory_stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace brennox;
  using namespace brennox::imap;
  const AutoreleasePool pool;
  // The first byte chooses how the bytes arrive and which literals are streamed.
  const std::size_t step = size > 0 ? 1 + bytes[0] % 64 : 1;
  const std::size_t streamFrom = size > 0 && bytes[0] >= 128 ? 16 : SIZE_MAX;
  net::MemoryStream stream(std::string(reinterpret_cast<const char*>(bytes), size), step);
  net::LineReader lines(stream);
  Response response;
  while (readResponse(stream, lines, {1 << 16, streamFrom, 1 << 16}, &response, nullptr)) {
    WireReader reader(response);
    std::string_view word;
    std::uint32_t number = 0;
    reader.skipIf('*');
    reader.skipSpaces();
    if (reader.peek() >= '0' && reader.peek() <= '9') {
      reader.number(&number);
      reader.skipSpaces();
    }
    reader.atom(&word);
    reader.skipSpaces();
    FetchItems items;
    readFetchItems(reader, &items);
    if (const Ref<IMAPPart> part = parseBodyStructure(items.structure)) {
      part->parts();
    }
    headerOf(items.envelope, "")->subject();

    // Every rule, from wherever a rest of the response begins.
    const std::string_view text = response.text;
    const std::size_t space = text.find(' ');
    const std::string_view rest = text.substr(space == std::string_view::npos ? 0 : space + 1);
    std::vector<std::string_view> flags;
    WireReader(rest).flagList(&flags);
    messageFlags(flags);
    folderFlags(flags);
    std::vector<Range> set;
    if (WireReader(rest).sequenceSet(&set)) {
      pairSets(set, set);
    }
    std::string name;
    if (WireReader(rest).astring(&name)) {
      encodeModifiedUTF7(decodeModifiedUTF7(name));
    }
    Capabilities::parse(rest);
    parseBodyStructure(rest);
    headerOf(rest, rest);
  }
  return 0;
}
