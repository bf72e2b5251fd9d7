/* vurotarngpo_delegate.h - the delegates set: the users and groups that
 * hold delegated rights over a peer or any OU above it, added on request to
 * the peer's effective policy as the set "Delegate". */
#ifndef VUROTARNGPO_DELEGATE_H
#define VUROTARNGPO_DELEGATE_H

#include "vurotarndelegate.h"

/* Adds the delegates set of peer peerId to jGpo when the version map jSet
 * names the set "Delegate"; 0 or -1. */
VUROTARN_API int VUROTARNGpoGetPolicyDelegate(long peerId, Json::Value& jGpo, Json::Value& jSet);

#endif
