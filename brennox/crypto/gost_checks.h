// What the GOST engine takes for granted about the bytes it is given. It reads through null
// pointers or ends the process where these do not hold, so they are checked before it sees
// anything.
#pragma once

#include <string>
#include <string_view>

namespace brennox::crypto {

enum class GostCipher { k28147, kMagma, kKuznyechik };

// The parameters of a content cipher, as a whole value.
bool areGostParametersSound(GostCipher cipher, std::string_view parameters);

// The wrapped content key of a key transport with the algorithm `oid`, which need not be of the
// content cipher's kind.
bool isGostTransportSound(const std::string& oid, std::string_view wrappedKey);

}  // namespace brennox::crypto
