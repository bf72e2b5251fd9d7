/* vurotarninfo.h - what each managed server last reported about itself:
 * one row per peer, its texts kept as opaque JSON. Stored in table
 * "info_data" and read through the view "info", which adds the peer's
 * serial "sn". */
#ifndef VUROTARNINFO_H
#define VUROTARNINFO_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_info_ {
    struct _tag_vuro_tarn_info_* pNext = NULL;
    BOOL available = FALSE;
    unsigned long long id = ~0ULL;  // all ones: not stored yet
    time_t mtime = 0;
    unsigned long long peer_id = 0;
    std::string str_general;
    std::string str_network;
    std::string str_hdd_info;
    std::string str_vol_info;
    std::string str_session;
    std::string str_define;
    std::string str_extra_info;
} VURO_TARN_INFO;

typedef VURO_TARN_INFO* VURO_TARN_INFO_LIST;

typedef struct _tag_vuro_tarn_info__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_INFO* pOrg;
    const VURO_TARN_INFO* pNew;
} VURO_TARN_INFO_PLUGIN_ENV;

/* Record layer */
VUROTARN_API VURO_TARN_INFO* VUROTARNInfoAlloc();
VUROTARN_API int VUROTARNInfoFree(VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoClear(VURO_TARN_INFO* pInfo);
VUROTARN_API VURO_TARN_INFO* VUROTARNInfoNext(const VURO_TARN_INFO* pInfo);
VUROTARN_API void VUROTARNInfoListFree(VURO_TARN_INFO_LIST* pInfoList);
/* "id" and "peer_id" always; the rest under "additional" when wanted. */
VUROTARN_API int VUROTARNInfoStructToJson(const VURO_TARN_INFO* pInfo,
                                          const Json::Value& jAdditional, Json::Value& jRet);
/* Copies the members present; "storage_info" replaces extra_info with
 * {"storage_info": value}; "extra_info" itself is not read. */
VUROTARN_API int VUROTARNInfoJsonToStruct(Json::Value& jVal, VURO_TARN_INFO* pInfo);

/* Operation layer. A missing row is no failure of Get: it returns 0 and
 * leaves available FALSE. Create and Set are one upsert by peer_id (the
 * record's id plays no part) that writes nothing, mtime included, when the
 * row already holds the values. Hooks run under the peer module. */
VUROTARN_API int VUROTARNInfoGet(unsigned long long id, VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoGetMultiple(unsigned long long* ids, size_t cID,
                                         VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoCreate(VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoSet(VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoSave(VURO_TARN_INFO* pInfo);
VUROTARN_API int VUROTARNInfoDelete(unsigned long long id);
VUROTARN_API int VUROTARNInfoCreateMultiple(VURO_TARN_INFO_LIST pInfoList);
VUROTARN_API int VUROTARNInfoSetMultiple(VURO_TARN_INFO_LIST pInfoList);
VUROTARN_API int VUROTARNInfoDeleteList(VURO_TARN_INFO_LIST pInfoList);
VUROTARN_API int VUROTARNInfoDeleteMultiple(long int* ids, size_t cID);
VUROTARN_API int VUROTARNInfoDeleteAll();
VUROTARN_API int VUROTARNInfoList(const PQLIBSZHASH pParms, VURO_TARN_INFO_LIST* pInfoList,
                                  size_t* pTotalCount);
VUROTARN_API int VUROTARNInfoListAll(VURO_TARN_INFO_LIST* pInfoList,
                                     BOOL (*isKeep)(VURO_TARN_INFO*, void*), void* private_data);

/* The row of one peer (peer_id not 0): 0 with available TRUE when found,
 * 0 with available FALSE when the peer has none, -1 on failure. */
VUROTARN_API int VUROTARNInfoGetByPEER(unsigned long long peer_id, VURO_TARN_INFO* pInfo);
/* The rows whose peer has the serial szSN. */
VUROTARN_API int VUROTARNInfoListBySn(const char* szSN, VURO_TARN_INFO_LIST* pInfoList);

/* Hook layer: tarninfo/tarninfo_create, tarnpeer/tarnpeer_set and
 * tarninfo/tarninfo_delete, all under the module "tarnpeer". */
VUROTARN_API int VUROTARNInfoPluginInit(VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                        const VURO_TARN_INFO* pOrg, const VURO_TARN_INFO* pNew);
VUROTARN_API int VUROTARNInfoPlugin(const SDK_PLUGIN_ACTION action,
                                    VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNInfoPluginExit(VURO_TARN_INFO_PLUGIN_ENV* pstEnvVar);

#include "vurotarninfogetter.h"
#include "vurotarninfosetter.h"

#endif
