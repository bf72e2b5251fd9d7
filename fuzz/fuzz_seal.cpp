/* fuzz_seal.cpp - the opening of a sealed body, as the credential stand-in's
 * client opens an answer and a server opens a request: any token, path and
 * text. Beside the no-crash check, two properties that must always hold:
 * what Seal makes opens to the same text under the same token and path, and
 * not once a byte of it changed. */
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <vurojson.h>

#include "fuzz_root.h"
#include "vurocredential_seal.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    return 0;
}

/* Input: token NUL path NUL body text. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 3);
    const std::string& token = parts[0];
    const std::string& path = parts[1];
    const std::string& body = parts[2];

    // The body as a far side would send it: the whole answer, or its member.
    Json::Value js;
    std::string plain;
    if (vurojson::fromString(js, body)) {
        vurocred::Unseal(token, path, js, plain);
        if (js.isObject()) vurocred::Unseal(token, path, js[VUROCRED_SEALED_MEMBER], plain);
    }

    std::string raw;
    if (vurocred::Base64Decode(body, raw)) {
        std::string again;
        if (!vurocred::Base64Decode(vurocred::Base64Encode(raw), again) || again != raw) abort();
    }

    Json::Value sealed;
    if (!vurocred::Seal(token, path, body, sealed)) return 0;
    if (!vurocred::Unseal(token, path, sealed, plain) || plain != body) abort();
    // One changed byte of the ciphertext or tag, chosen by the input's size.
    std::string cipher;
    if (!vurocred::Base64Decode(sealed["data"].asString(), cipher) || cipher.empty()) abort();
    cipher[size % cipher.size()] ^= 0x01;
    sealed["data"] = vurocred::Base64Encode(cipher);
    if (vurocred::Unseal(token, path, sealed, plain)) abort();
    if (!path.empty()) {
        sealed = Json::Value();
        vurocred::Seal(token, path, body, sealed);
        if (vurocred::Unseal(token, path + "x", sealed, plain)) abort();
    }
    return 0;
}
