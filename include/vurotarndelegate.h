/* vurotarndelegate.h - delegates: the record, its list, and the operations that
 * store and read them in table "delegate". */
#ifndef VUROTARNDELEGATE_H
#define VUROTARNDELEGATE_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_delegate_ {
    struct _tag_vuro_tarn_delegate_* pNext = NULL;
    BOOL available = FALSE;
    long id = -1;
    time_t mtime = 0;
    long user_type = 0;
    unsigned long ugid = 0;
    long target_type = 0;
    long target_id = 0;
    std::string str_extra_info;
} VURO_TARN_DELEGATE;

typedef VURO_TARN_DELEGATE* VURO_TARN_DELEGATE_LIST;

typedef struct _tag_vuro_tarn_delegate__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_DELEGATE* pOrg;
    const VURO_TARN_DELEGATE* pNew;
} VURO_TARN_DELEGATE_PLUGIN_ENV;

/* Record layer */
VUROTARN_API VURO_TARN_DELEGATE* VUROTARNDelegateAlloc();
VUROTARN_API int VUROTARNDelegateFree(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateClear(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API VURO_TARN_DELEGATE* VUROTARNDelegateNext(const VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API void VUROTARNDelegateListFree(VURO_TARN_DELEGATE_LIST* pDelegateList);
VUROTARN_API int VUROTARNDelegateStructToJson(const VURO_TARN_DELEGATE* pDelegate,
                                              const Json::Value& jAdditional, Json::Value& jRet);
VUROTARN_API int VUROTARNDelegateJsonToStruct(Json::Value& jVal, VURO_TARN_DELEGATE* pDelegate);

/* Operation layer */
VUROTARN_API int VUROTARNDelegateGet(long id, VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateGetMultiple(long* ids, size_t cID, VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateCreate(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateSet(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateSave(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API int VUROTARNDelegateDelete(long id);
VUROTARN_API int VUROTARNDelegateCreateMultiple(VURO_TARN_DELEGATE_LIST pDelegateList);
VUROTARN_API int VUROTARNDelegateSetMultiple(VURO_TARN_DELEGATE_LIST pDelegateList);
VUROTARN_API int VUROTARNDelegateDeleteList(VURO_TARN_DELEGATE_LIST pDelegateList);
VUROTARN_API int VUROTARNDelegateDeleteMultiple(long* ids, size_t cID);
VUROTARN_API int VUROTARNDelegateDeleteAll();
VUROTARN_API int VUROTARNDelegateList(const PQLIBSZHASH pParms,
                                      VURO_TARN_DELEGATE_LIST* pDelegateList, size_t* pTotalCount);
VUROTARN_API int VUROTARNDelegateListAll(VURO_TARN_DELEGATE_LIST* pDelegateList,
                                         BOOL (*isKeep)(VURO_TARN_DELEGATE*, void*),
                                         void* private_data);

/* Hook layer */
VUROTARN_API int VUROTARNDelegatePluginInit(VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar,
                                            const char* szPlugin, const VURO_TARN_DELEGATE* pOrg,
                                            const VURO_TARN_DELEGATE* pNew);
VUROTARN_API int VUROTARNDelegatePlugin(const SDK_PLUGIN_ACTION action,
                                        VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNDelegatePluginExit(VURO_TARN_DELEGATE_PLUGIN_ENV* pstEnvVar);

/* Change log of a write: action 0 create, 2 delete; status_no is the write's
 * result. Set writes no entry: it only refreshes the name cache. */
VUROTARN_API int VUROTARNDelegateLog(int status_no, int action, VURO_TARN_DELEGATE* pDelegate1,
                                     VURO_TARN_DELEGATE* pDelegate2);

/* Removes every delegate of one node; no hook, no change log. */
VUROTARN_API int VUROTARNDelegateDeleteByTarget(long id, int nodeType);

#include "vurotarndelegategetter.h"
#include "vurotarndelegatesetter.h"

#endif
