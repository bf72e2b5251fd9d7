/* fuzz_answers.cpp - what the far side answers and the request acts on:
 * the discovery answer's API table (which path the call goes to) and the
 * relay service's answer (which host the next call goes to). A path taken
 * is always an absolute path with nothing that ends or splits a URL, and a
 * relay answer taken always names a host. */
#include <stdlib.h>

#include <string>

#include "answer_int.h"
#include "fuzz_root.h"
#include "vurocredential.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    return 0;
}

/* Input: one byte (the version, and which transfer error the relay answer
 * came with), the API name NUL the answer text. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    int version = (int)(signed char)data[0];
    std::vector<std::string> parts = inputSplit(data + 1, size - 1, 2);
    const std::string& api = parts[0];
    const std::string& answer = parts[1];

    std::string path = "unset", format = "unset", why;
    int e = vurocred::DiscoveryAnswerRead(answer, api, version, path, format, why);
    if (e == CRED_REQ_ERR_NONE) {
        if (path.empty() || path[0] != '/' || path.find_first_of("?# \r\n") != std::string::npos ||
            (format != "JSON" && format != "form")) {
            abort();
        }
    } else if (path != "unset" || format != "unset" || (why.empty() && !api.empty())) {
        abort();  // a refused table must leave the request as it was, and say why
    }

    int err = data[0] % 3 == 0   ? CRED_REQ_ERR_NONE
              : data[0] % 3 == 1 ? CRED_REQ_ERR_HTTP_STATUS
                                 : CRED_REQ_ERR_TIMEOUT;
    Json::Value js;
    bool taken = vurocred::RelayAnswerRead(err, answer, js);
    if (!js.isObject()) abort();
    if (taken &&
        (err != CRED_REQ_ERR_NONE || !js["host"].isString() || js["host"].asString().empty())) {
        abort();
    }
    return 0;
}
