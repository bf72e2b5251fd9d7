/* vuroapirunner.h - the local API runner: runs one web API of this server
 * as a given user, without a session, through the handler tool
 * /usr/vuro/bin/vurowebapi under the system root, under a time limit. */
#ifndef VUROAPIRUNNER_H
#define VUROAPIRUNNER_H

#include <json/json.h>

#include <string>

#include "vurocore.h"

#define VUROWEBAPI_TOOL_PATH "/usr/vuro/bin/vurowebapi"
/* Seconds the handler may take; VURO_APIRUNNER_TIMEOUT overrides it. */
#define VUROWEBAPI_TIMEOUT_S 30

namespace VURO {

class VURO_EXPORT APIRunner {
public:
    /* jsResp becomes the handler's JSON answer. When there is no handler
     * tool, it crashes or fails without an answer, passes the time limit or
     * writes no JSON object, jsResp becomes {"success":false,"error":
     * {"code":N,"reason":"..."}} and the result is false; true when the
     * handler gave an answer (which may itself say success false). */
    static bool Exec(Json::Value& jsResp, const std::string& strAPI, int iVersion,
                     const std::string& strMethod, const Json::Value& jsParam,
                     const std::string& strUser);
};

}  // namespace VURO

#endif
