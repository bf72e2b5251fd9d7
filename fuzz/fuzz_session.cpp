/* fuzz_session.cpp - the privilege check of an incoming call: the session
 * id and API come from the caller, the line of the session store is
 * whatever the store holds. A session is never admitted by a line that
 * does not hold its id in quotes, and the check gives the same answer
 * whether or not the serial is asked for. */
#include <stdlib.h>

#include <filesystem>
#include <string>

#include <vurocgi.h>

#include "fuzz_root.h"
#include "vurotarnpeer_join.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    std::filesystem::create_directories(rootFile(VUROCGI_SESSION_DIR));
    return 0;
}

/* Input: session id NUL API NUL the store's text (one line or several). */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 3);
    const std::string& sid = parts[0];
    const std::string& api = parts[1];
    // A NUL inside a line would hide the rest of it from the reader alike.
    rootFileWrite(VUROCGI_SESSION_FILE, parts[2] + "\n");

    std::string serial;
    bool admitted = VUROTARNPeerCheckWebapiPriviege(sid, api, &serial);
    if (admitted != VUROTARNPeerCheckWebapiPriviege(sid, api, nullptr)) abort();
    if (admitted && (sid.empty() || parts[2].find("\"" + sid + "\"") == std::string::npos)) {
        abort();
    }
    return 0;
}
