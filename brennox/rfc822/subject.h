// Subjects without what replying and forwarding put in front of them.
#pragma once

#include <string_view>

namespace brennox::rfc822 {

// The part of `subject` after all "Re:", "Fwd:", "Re[2]:", "(fwd)" and the like, in the languages
// of common mail programs.
std::string_view baseSubject(std::string_view subject);

}  // namespace brennox::rfc822
