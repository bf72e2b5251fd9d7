/* vurotarndelegate_target.h - the delegates of one node as one list, the
 * name cache of a delegate, and whether a user holds any delegation. */
#ifndef VUROTARNDELEGATE_TARGET_H
#define VUROTARNDELEGATE_TARGET_H

#include <sys/types.h>

#include "vurotarndelegate.h"

VUROTARN_API BOOL VUROTARNDelegateIsDelegateUser(uid_t uid);
VUROTARN_API int VUROTARNDelegateListByTarget(long id, int nodeType,
                                              VURO_TARN_DELEGATE** pDelegateHead,
                                              size_t* pTotalCount);
/* Brings the delegates of a node into line with jNode["delegate"] (elements
 * with user_type and name), touching only what differs. */
VUROTARN_API int VUROTARNDelegateSetListByTarget(long nodeId, int nodeType, Json::Value& jNode);
/* Replaces all delegates of a node by jNode["delegate"]. */
VUROTARN_API int VUROTARNDelegateOverrideListByTarget(long nodeId, int nodeType,
                                                      Json::Value& jNode);
VUROTARN_API int VUROTARNDelegateCreateByTarget(long nodeId, long nodeType, Json::Value& jNode);

/* The name cache in extra_info (userNameCache, domainName, domainType):
 * brought up to date in memory; for a list, written where changed. */
VUROTARN_API int VURODelegatePrepareExtraInfo(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VURODelegateUpdateExtraInfoList(VURO_TARN_DELEGATE* pDelegateHead,
                                                 BOOL blForceUpdate);

#endif
