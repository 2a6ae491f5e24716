// Encrypting content for certificates (CMS EnvelopedData).
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "crypto/openssl.h"
#include "crypto/verify.h"

namespace brennox::crypto {

// Takes the message's DER in pieces, in order. What it took is worth nothing when encrypt() throws.
using DerSink = std::function<void(std::string_view)>;

// Encrypts for all `recipients` with AES-256-CBC, or with GOST 28147-89 as soon as one of them has
// a GOST key: every GOST program reads that, and none of the others is lost by it. `prepare` is
// told the length of the DER before the first piece. Throws std::runtime_error.
void encrypt(const Pieces& content, const std::vector<CertHandle>& recipients,
             const std::function<void(std::size_t)>& prepare, const DerSink& sink);

}  // namespace brennox::crypto
