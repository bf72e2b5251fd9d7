/* api.h - the commands of the tool as the web API runs them: the same
 * table, options and JSON as the command line, for a signed-in user. */
#ifndef TARN_API_H
#define TARN_API_H

#include <sys/types.h>

#include <json/json.h>

#include <string>

namespace tarncli {

/* Who a web request acts for. */
struct Actor {
    std::string name;
    uid_t uid = 0;
    bool admin = false; /* a member of "administrators" */
};

/* Runs one command for actor. command: the words after /api/ with '/' for
 * ' ' ("ou/get", "tree"); body: a JSON object of the command's options
 * without "--" (a flag is true, positionals in "args"). Returns the HTTP
 * status; *pAnswer is the command's JSON ({"text": ...} for a text-only
 * output) or {"error": ...}: 400 bad input, 403 no right, 404 no such
 * record, 409 a failed write or a stale edit (then also "current").
 * One call at a time per process: the library is not thread-safe. */
int apiCall(const std::string& command, const Json::Value& body, const Actor& actor,
            Json::Value* pAnswer);

}  // namespace tarncli

#endif
