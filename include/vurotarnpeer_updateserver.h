/* vurotarnpeer_updateserver.h - this server's connection info (every way in
 * it can publish: its addresses, the external one, dynamic DNS names and the
 * relay name) and its sending to managed servers in one run. */
#ifndef VUROTARNPEER_UPDATESERVER_H
#define VUROTARNPEER_UPDATESERVER_H

#include <json/json.h>

#include "vurotarn_type.h"

/* jsServer becomes the connection info, an array of {host, http_port,
 * https_port[, relay_path_direct]}; null and false when it cannot be
 * collected. jsAssign (null allowed) may fix host (array or string),
 * http_port and https_port. Nothing is stored. */
VUROTARN_API bool VUROTARNPeerCollectConnectInfo(Json::Value& jsServer,
                                                 const Json::Value& jsAssign);
/* Sends the connection info (collected with jsServer as the assignment) to
 * the peers of jsId, one id or an array of ids, all at once; this server's
 * own record is updated locally when it manages itself. 0 when every
 * answer was good, else -1. */
VUROTARN_API int VUROTARNPeerSendUpdateServer(const Json::Value& jsId, const Json::Value& jsServer);

#endif
