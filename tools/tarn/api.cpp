/* api.cpp - the commands of the tool for the web API. */
#include "api.h"

namespace tarncli {

// Interim: the command layer lands next; until then every command answers 501.
int apiCall(const std::string& command, const Json::Value&, const Actor&, Json::Value* pAnswer) {
    (*pAnswer)["error"] = "'" + command + "' is not served yet";
    return 501;
}

}  // namespace tarncli
