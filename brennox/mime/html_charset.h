// The charset that an HTML text declares for itself.
#pragma once

#include <string>
#include <string_view>

namespace brennox::mime {

// The charset of the first meta element (or XML declaration) that names one, lower case; empty when
// none does. Looks at the first few KiB only, as browsers do.
std::string charsetInHtml(std::string_view html);

}  // namespace brennox::mime
