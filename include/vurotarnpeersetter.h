/* vurotarnpeersetter.h - changes to a peer record's fields; in memory only. */
#ifndef VUROTARNPEERSETTER_H
#define VUROTARNPEERSETTER_H

#include "vurotarnpeer.h"

VUROTARN_API int VUROTARNPeerItemSetID(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetModifiedTime(VURO_TARN_PEER* pPeer, time_t val);
VUROTARN_API int VUROTARNPeerItemSetDescription(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetSN(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetModel(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetVersion(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetBuildNum(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetSmallFixNum(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetHostName(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetHost(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetSID(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetVuroToken(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetStatusByServerModifyTime(VURO_TARN_PEER* pPeer, time_t val);
VUROTARN_API int VUROTARNPeerItemSetWOL(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetUpTime(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetUpTimeModifyTime(VURO_TARN_PEER* pPeer, time_t val);
VUROTARN_API int VUROTARNPeerItemSetHttpPort(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetHttpsPort(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetParentID(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetBlockInheritance(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetLinkedGPO(VURO_TARN_PEER* pPeer, const char* szVal);
VUROTARN_API int VUROTARNPeerItemSetGlusterRole(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetExtraInfo(VURO_TARN_PEER* pPeer, const char* szVal);
/* Status setters also stamp the time of the change (uptime_mtime and
 * status_by_server_mtime), so the next Set writes even for the old value. */
VUROTARN_API int VUROTARNPeerItemSetStatus(VURO_TARN_PEER* pPeer, long val);
VUROTARN_API int VUROTARNPeerItemSetStatusByServer(VURO_TARN_PEER* pPeer, long val);

#endif
