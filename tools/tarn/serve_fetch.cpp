/* serve_fetch.cpp - the policy fetch of managed servers. */
#include "serve_fetch.h"

namespace tarncli {

// Interim: the policy fetch lands next; until then it answers 501.
int webapiEntry(const std::map<std::string, std::string>&, Json::Value* pAnswer) {
    (*pAnswer)["success"] = false;
    (*pAnswer)["error"]["code"] = 103;
    return 501;
}

}  // namespace tarncli
