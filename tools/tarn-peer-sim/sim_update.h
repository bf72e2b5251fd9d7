/* sim_update.h - what a managed server does with a ServerInfo update, and
 * the two shapes of its answers: the simulator answers so, and the local
 * handler tool (vurowebapi) keeps this server's own update with the same
 * code. Needs only jsoncpp. */
#ifndef TARN_PEER_SIM_SIM_UPDATE_H
#define TARN_PEER_SIM_SIM_UPDATE_H

#include <json/json.h>

namespace peersim {

/* {"success": true, "data": data} and {"success": false, "error": {"code"}}. */
Json::Value success(const Json::Value& data);
Json::Value failure(int code);

/* Judges the parameters {"conn_info": [entry...]}: each entry an object
 * with a non-empty host, integer http_port and https_port in 0..65535 and,
 * if present, a boolean relay_path_direct. The answer to give: success
 * with data {"conn_info_count": n}, or success false with error code 101;
 * *pKept becomes the accepted conn_info. */
Json::Value serverInfoUpdate(const Json::Value& params, Json::Value* pKept);

}  // namespace peersim

#endif
