// Which part of a message is what: body, picture inside the HTML, attachment or embedded message.
#pragma once

#include <brennox/AbstractPart.h>

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace brennox::mime {

// One stretch of the message's text in its two forms. Outside of multipart/alternative both lists
// hold the same part. A list may be empty when an alternative has no such form; `html` may hold a
// text/plain part and `plain` a text/html one when there is nothing better.
struct Body {
  std::vector<AbstractPart*> html;
  std::vector<AbstractPart*> plain;
};

// The parts are borrowed from the tree that was sorted.
struct Sorting {
  // In the order of the message. A rendering shows all of them.
  std::vector<Body> bodies;
  // What the HTML refers to (by cid: or by location), for example pictures.
  std::vector<AbstractPart*> inlined;
  // Everything else that is not a multipart, in the order of the message. Embedded messages
  // (PartType::Message) are among them; they are not looked into.
  std::vector<AbstractPart*> attachments;
};

// Content-IDs that HTML refers to as "cid:...", percent-decoded.
using CidReferences = std::unordered_set<std::string>;
void collectCidReferences(std::string_view html, CidReferences& references);

// Sorts the parts under `root` (null: an empty result) without looking into embedded messages. With
// `references`, a part with a Content-ID is inlined exactly when it is referred to; without,
// pictures with a Content-ID inside multipart/related are.
Sorting sortParts(AbstractPart* root, const CidReferences* references = nullptr);

// True when sorting depends on the references: some part other than a body has a Content-ID.
bool needsCidReferences(const Sorting& sorting);

// The root of multipart/related (RFC 2387): its mainPart() when it knows it (the start parameter),
// else its first child that can be a body, else its first child. Null for anything without
// children.
AbstractPart* relatedRoot(AbstractPart* related);

}  // namespace brennox::mime
