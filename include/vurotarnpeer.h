/* vurotarnpeer.h - managed servers: the record, its list, and the operations that
 * store and read them in table "peer". */
#ifndef VUROTARNPEER_H
#define VUROTARNPEER_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_peer_ {
    struct _tag_vuro_tarn_peer_* pNext = NULL;
    BOOL available = FALSE;
    long id = -1;
    time_t mtime = 0;
    std::string str_desc;
    std::string str_sn;
    std::string str_model;
    std::string str_version;
    long buildnum = 0;
    long smallfixnum = 0;
    std::string str_hostname;
    std::string str_host;
    std::string str_sid;
    std::string str_vuro_token;
    long status = 0;
    long status_by_server = 0;
    time_t status_by_server_mtime = 0;
    long wol = 0;
    long up_time = 0;
    time_t uptime_mtime = 0;
    long http_port = 0;
    long https_port = 0;
    long parent_id = 0;
    long block_inheritance = 0;
    std::string str_linked_gpo;
    std::string str_relaypath;
    long gluster_role = 0;
    std::string str_extra_info;
} VURO_TARN_PEER;

typedef VURO_TARN_PEER* VURO_TARN_PEER_LIST;

typedef struct _tag_vuro_tarn_peer__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_PEER* pOrg;
    const VURO_TARN_PEER* pNew;
} VURO_TARN_PEER_PLUGIN_ENV;

/* Record layer */
VUROTARN_API VURO_TARN_PEER* VUROTARNPeerAlloc();
VUROTARN_API int VUROTARNPeerFree(VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerClear(VURO_TARN_PEER* pPeer);
VUROTARN_API VURO_TARN_PEER* VUROTARNPeerNext(const VURO_TARN_PEER* pPeer);
VUROTARN_API void VUROTARNPeerListFree(VURO_TARN_PEER_LIST* pPeerList);
VUROTARN_API int VUROTARNPeerStructToJson(const VURO_TARN_PEER* pPeer,
                                          const Json::Value& jAdditional, Json::Value& jRet);
VUROTARN_API int VUROTARNPeerJsonToStruct(Json::Value& jVal, VURO_TARN_PEER* pPeer);

/* Operation layer */
VUROTARN_API int VUROTARNPeerGet(long id, VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerGetMultiple(long* ids, size_t cID, VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerCreate(VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerSet(VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerSave(VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerDelete(long id);
VUROTARN_API int VUROTARNPeerCreateMultiple(VURO_TARN_PEER_LIST pPeerList);
VUROTARN_API int VUROTARNPeerSetMultiple(VURO_TARN_PEER_LIST pPeerList);
VUROTARN_API int VUROTARNPeerDeleteList(VURO_TARN_PEER_LIST pPeerList);
VUROTARN_API int VUROTARNPeerDeleteMultiple(long* ids, size_t cID);
VUROTARN_API int VUROTARNPeerDeleteAll();
VUROTARN_API int VUROTARNPeerList(const PQLIBSZHASH pParms, VURO_TARN_PEER_LIST* pPeerList,
                                  size_t* pTotalCount);
VUROTARN_API int VUROTARNPeerListAll(VURO_TARN_PEER_LIST* pPeerList,
                                     BOOL (*isKeep)(VURO_TARN_PEER*, void*), void* private_data);

/* Hook layer */
VUROTARN_API int VUROTARNPeerPluginInit(VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                        const VURO_TARN_PEER* pOrg, const VURO_TARN_PEER* pNew);
VUROTARN_API int VUROTARNPeerPlugin(const SDK_PLUGIN_ACTION action,
                                    VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNPeerPluginExit(VURO_TARN_PEER_PLUGIN_ENV* pstEnvVar);

/* Change log of a write: action 0 create, 1 set, 2 delete. */
VUROTARN_API int VUROTARNPeerLog(int status_no, int action, VURO_TARN_PEER* pPeer1,
                                 VURO_TARN_PEER* pPeer2);

/* The row of a serial: 0 when found, -1 when none (no message, no error
 * code) or when the storage step failed. */
VUROTARN_API int VUROTARNPeerGetBySN(const char* szSN, VURO_TARN_PEER* pPeer);
VUROTARN_API int VUROTARNPeerListBySn(const char* szSN, VURO_TARN_PEER_LIST* pPeerList);

/* Texts of the change log: the peer's name (or "<id=N>"), its OU's name,
 * and the object ids "peer_N" and "ou_N". */
VUROTARN_API std::string VUROTARNPeerGetName(VURO_TARN_PEER* pPeer);
VUROTARN_API std::string VUROTARNPeerGetParentName(VURO_TARN_PEER* pPeer);
VUROTARN_API std::string VUROTARNPeerGetObjID(VURO_TARN_PEER* pPeer);
VUROTARN_API std::string VUROTARNPeerGetParentObjID(VURO_TARN_PEER* pPeer);

/* The cache push: each peer of the list at status 2 or 16 is set to 9 in
 * both status fields and asked to push its cache; one it cannot reach ends
 * at 10. jData becomes the array of the answers that hold "success", in
 * list order. False for a NULL list (jData untouched), true otherwise. */
VUROTARN_API bool VUROTARNPeerUpdateCache(const VURO_TARN_PEER_LIST peerList, Json::Value& jData);

#include "vurotarnpeergetter.h"
#include "vurotarnpeersetter.h"

#endif
