#include "html/render.h"

#include <stdexcept>

namespace brennox::html {

ContentSource::~ContentSource() = default;

std::optional<std::uint64_t> ContentSource::sizeOf(AbstractPart* /*part*/) {
  return std::nullopt;
}

void ContentSource::prefetch(const std::vector<AbstractPart*>& /*parts*/) {}

String* htmlRendering(MessageHeader* /*header*/, AbstractPart* /*mainPart*/,
                      ContentSource& /*source*/, HTMLRendererTemplateCallback* /*templates*/) {
  throw std::logic_error("Not implemented");
}

String* htmlBodyRendering(AbstractPart* /*mainPart*/, ContentSource& /*source*/) {
  throw std::logic_error("Not implemented");
}

String* plainTextRendering(MessageHeader* /*header*/, AbstractPart* /*mainPart*/,
                           ContentSource& /*source*/) {
  throw std::logic_error("Not implemented");
}

String* plainTextBodyRendering(AbstractPart* /*mainPart*/, ContentSource& /*source*/,
                               bool /*stripWhitespace*/) {
  throw std::logic_error("Not implemented");
}

}  // namespace brennox::html
