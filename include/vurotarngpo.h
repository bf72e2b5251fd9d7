/* vurotarngpo.h - group policy objects: the record, its list, and the operations that
 * store and read them in table "gpo". */
#ifndef VUROTARNGPO_H
#define VUROTARNGPO_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_gpo_ {
    struct _tag_vuro_tarn_gpo_* pNext = NULL;
    BOOL available = FALSE;
    long id = -1;
    time_t mtime = 0;
    std::string str_name;
    std::string str_desc;
    long parent_id = 0;
    long parent_type = 0;
    std::string str_setting;
    std::string str_extra_info;
} VURO_TARN_GPO;

typedef VURO_TARN_GPO* VURO_TARN_GPO_LIST;

typedef struct _tag_vuro_tarn_gpo__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_GPO* pOrg;
    const VURO_TARN_GPO* pNew;
} VURO_TARN_GPO_PLUGIN_ENV;

/* Record layer */
VUROTARN_API VURO_TARN_GPO* VUROTARNGpoAlloc();
VUROTARN_API int VUROTARNGpoFree(VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoClear(VURO_TARN_GPO* pGpo);
VUROTARN_API VURO_TARN_GPO* VUROTARNGpoNext(const VURO_TARN_GPO* pGpo);
VUROTARN_API void VUROTARNGpoListFree(VURO_TARN_GPO_LIST* pGpoList);
VUROTARN_API int VUROTARNGpoStructToJson(const VURO_TARN_GPO* pGpo, const Json::Value& jAdditional,
                                         Json::Value& jRet);
VUROTARN_API int VUROTARNGpoJsonToStruct(Json::Value& jVal, VURO_TARN_GPO* pGpo);

/* Operation layer */
VUROTARN_API int VUROTARNGpoGet(long id, VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoGetMultiple(long* ids, size_t cID, VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoCreate(VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoSet(VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoSave(VURO_TARN_GPO* pGpo);
VUROTARN_API int VUROTARNGpoDelete(long id);
VUROTARN_API int VUROTARNGpoCreateMultiple(VURO_TARN_GPO_LIST pGpoList);
VUROTARN_API int VUROTARNGpoSetMultiple(VURO_TARN_GPO_LIST pGpoList);
VUROTARN_API int VUROTARNGpoDeleteList(VURO_TARN_GPO_LIST pGpoList);
VUROTARN_API int VUROTARNGpoDeleteMultiple(long* ids, size_t cID);
VUROTARN_API int VUROTARNGpoDeleteAll();
VUROTARN_API int VUROTARNGpoList(const PQLIBSZHASH pParms, VURO_TARN_GPO_LIST* pGpoList,
                                 size_t* pTotalCount);
VUROTARN_API int VUROTARNGpoListAll(VURO_TARN_GPO_LIST* pGpoList,
                                    BOOL (*isKeep)(VURO_TARN_GPO*, void*), void* private_data);

/* Hook layer */
VUROTARN_API int VUROTARNGpoPluginInit(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                       const VURO_TARN_GPO* pOrg, const VURO_TARN_GPO* pNew);
VUROTARN_API int VUROTARNGpoPlugin(const SDK_PLUGIN_ACTION action,
                                   VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNGpoPluginExit(VURO_TARN_GPO_PLUGIN_ENV* pstEnvVar);

/* Change log of a write: action 0 create, 1 set, 2 delete; status_no is the
 * write's result. */
VUROTARN_API int VUROTARNGpoLog(int status_no, int action, VURO_TARN_GPO* pGpo1,
                                VURO_TARN_GPO* pGpo2);

#include "vurotarngpogetter.h"
#include "vurotarngposetter.h"

#endif
