/* vurotarnpeer_join.h - joining managed servers and the sessions they call
 * back with: a session of this server per serial, the join that hands it
 * over ("end_join"), and the check that an incoming session may call an API. */
#ifndef VUROTARNPEER_JOIN_H
#define VUROTARNPEER_JOIN_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

/* A session of this server for the managed server strSerial (app
 * "VURO.TARN", never expiring, allowed "VURO.TARN" and
 * "VURO.NotificationCenter"); false for an empty serial or a store that
 * cannot be written. The JSON form gives the token as a string and leaves
 * jsAccessToken alone on failure. */
VUROTARN_API bool VUROTARNPeerCreateSessionBySn(const std::string& strSerial,
                                                std::string& strAccessToken);
VUROTARN_API bool VUROTARNPeerCreateSessionBySn(const std::string& strSerial,
                                                Json::Value& jsAccessToken);
/* Removes every session made for strSerial; false when there was none. */
VUROTARN_API bool VUROTARNPeerDeleteSessionBySn(const std::string& strSerial);

/* True when the session strSID is a managed server's and may call strAPI.
 * *pstrSerial (may be NULL) gets the server's serial as soon as the session
 * is recognised, also when the API is then refused. */
VUROTARN_API bool VUROTARNPeerCheckWebapiPriviege(const std::string& strSID,
                                                  const std::string& strAPI,
                                                  std::string* pstrSerial);

/* Finishes the join of each server of jsPEERList ({sn, host, http_port,
 * https_port, access_token, model, kelp_version, build_number}) and stores
 * the confirmed ones at status 9; jsServer's "host" is how they reach this
 * server. 0 when the list was walked to its end, -1 otherwise. An entry
 * whose HTTPS request cannot be built is changed in place (https_port 0):
 * pass a value you own. */
VUROTARN_API int VUROTARNPeerSendCreateServer(const Json::Value& jsPEERList,
                                              const Json::Value& jsServer);

#endif
