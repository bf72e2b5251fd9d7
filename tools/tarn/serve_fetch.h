/* serve_fetch.h - the web API entry of managed servers: where a server
 * that got a fetch notice comes for its policy. */
#ifndef TARN_SERVE_FETCH_H
#define TARN_SERVE_FETCH_H

#include <json/json.h>

#include <map>
#include <string>

namespace tarncli {

/* POST /webapi/entry.cgi: the form fields the server sent (api, version,
 * method, _sid and the method's own). Returns the HTTP status and, in
 * *pAnswer, the web API envelope to answer. One call at a time per process. */
int webapiEntry(const std::map<std::string, std::string>& fields, Json::Value* pAnswer);

}  // namespace tarncli

#endif
