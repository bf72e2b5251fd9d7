/* vurotarnpeergetter.h - copies of a peer record's fields; in memory only. */
#ifndef VUROTARNPEERGETTER_H
#define VUROTARNPEERGETTER_H

#include "vurotarnpeer.h"

VUROTARN_API int VUROTARNPeerItemGetID(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetModifiedTime(time_t* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetDescription(char* szBuf, size_t cbBuf,
                                                const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetSN(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetModel(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetVersion(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetBuildNum(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetSmallFixNum(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetHostName(char* szBuf, size_t cbBuf,
                                             const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetHost(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetSID(char* szBuf, size_t cbBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetVuroToken(char* szBuf, size_t cbBuf,
                                              const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetStatus(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetStatusByServer(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetStatusByServerModifyTime(time_t* pVal,
                                                             const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetWOL(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetUpTime(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetUpTimeModifyTime(time_t* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetHttpPort(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetHttpsPort(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetParentID(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetBlockInheritance(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetLinkedGPO(char* szBuf, size_t cbBuf,
                                              const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetGlusterRole(long* pVal, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                              const VURO_TARN_PEER* pPeer);
/* Whole texts, without a buffer limit. */
VUROTARN_API int VUROTARNPeerItemGetStrRelayPath(std::string& strBuf, const VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerItemGetStrExtraInfo(std::string& strBuf, const VURO_TARN_PEER* pPeer);

#endif
