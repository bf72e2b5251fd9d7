/* sim_fetch.h - the fetch-back mode of the simulated servers (sim_fetch.cpp):
 * a fetch notice sends a server back to its managing server for its policy. */
#ifndef TARN_PEER_SIM_SIM_FETCH_H
#define TARN_PEER_SIM_SIM_FETCH_H

#include <json/json.h>

#include <string>

namespace httplib {
class Server;
}

namespace peersim {

struct Server;

/* The settings every server starts with (--fetch-back, --set-versions,
 * --central): {"on", "set_versions", "central"}; false with *pWhy. */
bool fetchBackDefaults(const Json::Value& set, std::string* pWhy);
/* /_sim/fetch_back on the control port. */
void fetchBackControlInstall(httplib::Server& control);
/* Every answered call passes here: an end_join gives the session and the
 * way back, a fetch notice starts the trip back when the mode is on. */
void fetchBackOnCall(const Server& sv, const std::string& api, const std::string& method,
                     const Json::Value& params, const Json::Value& answer);

}  // namespace peersim

#endif
