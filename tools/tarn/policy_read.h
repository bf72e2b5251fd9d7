/* policy_read.h - the effective policy of a node as a reader gets it: the
 * evaluation, the set versions the reader understands and, for a managed
 * server, its delegates set. "tarn convert" and the managed servers' fetch
 * both take this road. */
#ifndef TARN_POLICY_READ_H
#define TARN_POLICY_READ_H

#include <json/json.h>

namespace tarncli {

/* Where the road stopped: each step fails on its own grounds. */
enum class PolicyReadStep { Done, Evaluate, Convert, Delegates };

struct PolicyReadAsk {
    long id = 0;
    long type = 0;          /* VURO_TARN_TYPE_PEER or VURO_TARN_TYPE_OU */
    bool fetch = false;     /* a fetching server: sets are never raised */
    bool delegates = false; /* add the peer's delegates set when the map names it */
};

/* Evaluates the node into *pEffective (as evaluated) and *pGpo (brought to
 * the versions of jSet, which may come back lowered for a fetch). */
PolicyReadStep policyRead(const PolicyReadAsk& ask, Json::Value& jSet, Json::Value* pEffective,
                          Json::Value* pGpo);

}  // namespace tarncli

#endif
