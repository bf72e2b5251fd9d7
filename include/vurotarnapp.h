/* vurotarnapp.h - the applications a managed server offers its users: one
 * row of table "app" per peer and application id, with the display name in
 * twenty languages and how to reach the application. */
#ifndef VUROTARNAPP_H
#define VUROTARNAPP_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"

typedef struct _tag_vuro_tarn_app_ {
    struct _tag_vuro_tarn_app_* pNext = NULL;
    BOOL available = FALSE;
    unsigned long long id = 0;
    time_t mtime = 0;
    unsigned long long peer_id = 0;
    std::string str_app_id;
    std::string str_name_enu;
    std::string str_name_cht;
    std::string str_name_chs;
    std::string str_name_krn;
    std::string str_name_ger;
    std::string str_name_fre;
    std::string str_name_ita;
    std::string str_name_spn;
    std::string str_name_jpn;
    std::string str_name_dan;
    std::string str_name_nor;
    std::string str_name_sve;
    std::string str_name_nld;
    std::string str_name_rus;
    std::string str_name_plk;
    std::string str_name_ptb;
    std::string str_name_ptg;
    std::string str_name_hun;
    std::string str_name_trk;
    std::string str_name_csy;
    std::string str_app_version;
    time_t icon_mtime = 0;
    std::string str_protocol;
    int port = 0;
    std::string str_url;
    std::string str_windowparam;
    BOOL is_package = FALSE;
    std::string str_extra_info;
} VURO_TARN_APP;

typedef VURO_TARN_APP* VURO_TARN_APP_LIST;

typedef struct _tag_vuro_tarn_app__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_APP* pOrg;
    const VURO_TARN_APP* pNew;
} VURO_TARN_APP_PLUGIN_ENV;

/* Record layer. A new or cleared record has every number 0, id included:
 * to store a new row, set id to all ones (~0ULL) before Save, or call
 * Create. */
VUROTARN_API VURO_TARN_APP* VUROTARNAppAlloc();
VUROTARN_API int VUROTARNAppFree(VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppClear(VURO_TARN_APP* pApp);
VUROTARN_API VURO_TARN_APP* VUROTARNAppNext(const VURO_TARN_APP* pApp);
VUROTARN_API void VUROTARNAppListFree(VURO_TARN_APP_LIST* pAppList);
/* "name" is the name in szLang (a code such as "ger"; NULL: English), else
 * the English one, else app_id. Window parameters come as "window_param",
 * is_package as an integer. */
VUROTARN_API int VUROTARNAppStructToJson(const char* szLang, const VURO_TARN_APP* pApp,
                                         const Json::Value& jAdditional, Json::Value& jRet);

/* Operation layer. A missing row is no failure of Get: it returns 0 and
 * leaves available FALSE. Create and Set are one upsert by (peer_id,
 * app_id) that writes nothing, mtime included, when the row already holds
 * the values; a change of the non-English names alone is not written. */
VUROTARN_API int VUROTARNAppGet(unsigned long long id, VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppGetMultiple(unsigned long long* ids, size_t cID, VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppCreate(VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppSet(VURO_TARN_APP* pApp);
VUROTARN_API int VUROTARNAppSave(VURO_TARN_APP* pApp);
/* Also removes the application's icons,
 * /var/packages/TARN/target/peerinfo/<id>/apps, named by the application's
 * row id. A row belongs to exactly one peer, so another application's or
 * another peer's icons are never reached; a failed removal does not fail
 * the delete. */
VUROTARN_API int VUROTARNAppDelete(unsigned long long id);
VUROTARN_API int VUROTARNAppCreateMultiple(VURO_TARN_APP_LIST pAppList);
VUROTARN_API int VUROTARNAppSetMultiple(VURO_TARN_APP_LIST pAppList);
VUROTARN_API int VUROTARNAppDeleteList(VURO_TARN_APP_LIST pAppList);
VUROTARN_API int VUROTARNAppDeleteMultiple(unsigned long long* ids, size_t cID);
VUROTARN_API int VUROTARNAppDeleteAll();
VUROTARN_API int VUROTARNAppList(const PQLIBSZHASH pParms, VURO_TARN_APP_LIST* pAppList,
                                 size_t* pTotalCount);
VUROTARN_API int VUROTARNAppListAll(VURO_TARN_APP_LIST* pAppList,
                                    BOOL (*isKeep)(VURO_TARN_APP*, void*), void* private_data);

/* Hook layer: tarnapp/tarnapp_create, _set, _delete. */
VUROTARN_API int VUROTARNAppPluginInit(VURO_TARN_APP_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                       const VURO_TARN_APP* pOrg, const VURO_TARN_APP* pNew);
VUROTARN_API int VUROTARNAppPlugin(const SDK_PLUGIN_ACTION action,
                                   VURO_TARN_APP_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNAppPluginExit(VURO_TARN_APP_PLUGIN_ENV* pstEnvVar);

#include "vurotarnappgetter.h"
#include "vurotarnappsetter.h"

#endif
