/* vurotarnou.h - organisational units: the record, its list, and the
 * operations that store and read them in table "ou". */
#ifndef VUROTARNOU_H
#define VUROTARNOU_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_ou_ {
    struct _tag_vuro_tarn_ou_* pNext = NULL;
    BOOL available = FALSE;
    long id = -1;
    time_t mtime = 0;
    std::string str_name;
    std::string str_desc;
    long parent_id = 0;
    long block_inheritance = 0;
    std::string str_linked_gpo;
    std::string str_extra_info;
} VURO_TARN_OU;

typedef VURO_TARN_OU* VURO_TARN_OU_LIST;

typedef struct _tag_vuro_tarn_ou__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_OU* pOrg;
    const VURO_TARN_OU* pNew;
} VURO_TARN_OU_PLUGIN_ENV;

/* Record layer */
VUROTARN_API VURO_TARN_OU* VUROTARNOuAlloc();
VUROTARN_API int VUROTARNOuFree(VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuClear(VURO_TARN_OU* pOu);
VUROTARN_API VURO_TARN_OU* VUROTARNOuNext(const VURO_TARN_OU* pOu);
VUROTARN_API void VUROTARNOuListFree(VURO_TARN_OU_LIST* pOuList);
VUROTARN_API int VUROTARNOuStructToJson(const VURO_TARN_OU* pOu, const Json::Value& jAdditional,
                                        Json::Value& jRet);
VUROTARN_API int VUROTARNOuJsonToStruct(Json::Value& jVal, VURO_TARN_OU* pOu);

/* Operation layer */
VUROTARN_API int VUROTARNOuGet(long id, VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuGetMultiple(long* ids, size_t cID, VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuCreate(VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuSet(VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuSave(VURO_TARN_OU* pOu);
VUROTARN_API int VUROTARNOuDelete(long id);
VUROTARN_API int VUROTARNOuCreateMultiple(VURO_TARN_OU_LIST pOuList);
VUROTARN_API int VUROTARNOuSetMultiple(VURO_TARN_OU_LIST pOuList);
VUROTARN_API int VUROTARNOuDeleteList(VURO_TARN_OU_LIST pOuList);
VUROTARN_API int VUROTARNOuDeleteMultiple(long* ids, size_t cID);
VUROTARN_API int VUROTARNOuDeleteAll();
VUROTARN_API int VUROTARNOuList(const PQLIBSZHASH pParms, VURO_TARN_OU_LIST* pOuList,
                                size_t* pTotalCount);
VUROTARN_API int VUROTARNOuListAll(VURO_TARN_OU_LIST* pOuList, BOOL (*isKeep)(VURO_TARN_OU*, void*),
                                   void* private_data);

/* Hook layer */
VUROTARN_API int VUROTARNOuPluginInit(VURO_TARN_OU_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                      const VURO_TARN_OU* pOrg, const VURO_TARN_OU* pNew);
VUROTARN_API int VUROTARNOuPlugin(const SDK_PLUGIN_ACTION action,
                                  VURO_TARN_OU_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNOuPluginExit(VURO_TARN_OU_PLUGIN_ENV* pstEnvVar);

/* Change log of a write: action 0 create, 1 set, 2 delete; status_no is the
 * write's result. */
VUROTARN_API int VUROTARNOuLog(int status_no, int action, VURO_TARN_OU* pOu1, VURO_TARN_OU* pOu2);

#include "vurotarnougetter.h"
#include "vurotarnousetter.h"

#endif
