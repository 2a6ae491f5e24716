#include "message/protect.h"

#include <brennox/Array.h>

#include <stdexcept>

namespace brennox::message {

bool Protection::isEncrypted() const {
  return recipients != nullptr && recipients->count() > 0;
}

Ref<Data> protect(const Ref<Data>& /*entity*/, const Protection& /*protection*/) {
  throw std::logic_error("Not implemented");
}

}  // namespace brennox::message
