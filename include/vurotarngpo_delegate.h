/* vurotarngpo_delegate.h - the delegates set: the users and groups that
 * hold delegated rights over a peer or any OU above it, added on request to
 * the peer's effective policy as the set "Delegate"; and the notice that
 * asks peers to fetch their policy. */
#ifndef VUROTARNGPO_DELEGATE_H
#define VUROTARNGPO_DELEGATE_H

#include "vurotarndelegate.h"

/* Adds the delegates set of peer peerId to jGpo when the version map jSet
 * names the set "Delegate"; 0 or -1. */
VUROTARN_API int VUROTARNGpoGetPolicyDelegate(long peerId, Json::Value& jGpo, Json::Value& jSet);

/* The fetch notice: asks peer node_id (node_type 1), or every peer under OU
 * node_id that uid sees (node_type 2), to fetch its policy. Each call runs
 * in a detached child; the caller gets 0 at once. -1 for a bad node or when
 * uid may not manage the peer. */
VUROTARN_API int VUROTARNGpoNotifyFetch(uid_t uid, long node_type, long node_id);

#endif
