/* vurotarnlog.h - the event log: one row per reported action, its message
 * already expanded into twenty languages when it is written, stored in a
 * database of its own and listed with filters. */
#ifndef VUROTARNLOG_H
#define VUROTARNLOG_H

#include <json/json.h>
#include <time.h>

#include <string>

#include "vurotarn_type.h"
#include "vurotarndelegate.h"
#include "vurotarngpo.h"
#include "vurotarnou.h"
#include "vurotarnpeer.h"

typedef struct sqlite3 sqlite3;

#define VUROTARNLOG_DB_PATH "/var/packages/TARN/target/db/tarnlog_db.sqlite"
#define VUROTARNLOG_STRING_PATH "/var/packages/TARN/target/ui/texts/%s/strings"
#define VUROTARNLOG_LANG_LIST \
    "chs,cht,csy,dan,enu,fre,ger,hun,ita,jpn,krn,nld,nor,plk,ptb,ptg,rus,spn,sve,trk"
#define VUROTARNLOG_LANG_COUNT 20
#define VUROTARNLOG_LANG_FALLBACK "enu"
#define VUROTARNLOG_PEER_TOOL "/var/packages/TARN/target/tools/vurotarnpeer"

typedef struct _tag_vuro_tarnlog_ {
    struct _tag_vuro_tarnlog_* pNext = NULL;
    BOOL available = FALSE;
    long int id = -1;
    time_t happen_time = 0;
    int level = 6;
    uid_t user_id = (uid_t)-1;
    std::string str_obj_id;
    std::string str_parent_obj_id;
    std::string str_username;
    std::string str_chs;
    std::string str_cht;
    std::string str_csy;
    std::string str_dan;
    std::string str_enu;
    std::string str_fre;
    std::string str_ger;
    std::string str_hun;
    std::string str_ita;
    std::string str_jpn;
    std::string str_krn;
    std::string str_nld;
    std::string str_nor;
    std::string str_plk;
    std::string str_ptb;
    std::string str_ptg;
    std::string str_rus;
    std::string str_spn;
    std::string str_sve;
    std::string str_trk;
    std::string str_extra_info;
} VURO_TARNLOG;

typedef VURO_TARNLOG* VURO_TARNLOG_LIST;

typedef struct _tag_vuro_tarnlog_level_ {
    int iLevel;
    std::string strLevel;
    std::string strReveal;
} VURO_TARNLOG_LEVEL_TABLE;

extern VUROTARN_API VURO_TARNLOG_LEVEL_TABLE gVUROTARNLevelTable[9];

typedef int (*VUROTARNLOG_ROW_CALLBACK)(void*, int, char**, char**);

typedef struct _tag_vuro_tarnlog_backend_ {
    const char* name;
    int (*create)(VURO_TARNLOG* pTARNLog);
    int (*set)(const VURO_TARNLOG* pTARNLog);
    int (*delete_by_id)(long int id);
    int (*get_by_id)(long int id, VURO_TARNLOG* pTARNLog);
    int (*list_all)(VURO_TARNLOG_LIST* pTARNLogList, BOOL (*isKeep)(VURO_TARNLOG*));
    int (*list)(const PQLIBSZHASH pParms, VURO_TARNLOG_LIST* pTARNLogList, size_t* pTotalCount,
                size_t* pErrCount, size_t* pWarnCount, size_t* pInfoCount);
    int (*print)(const PQLIBSZHASH pParms, size_t* pTotalCount, VUROTARNLOG_ROW_CALLBACK callback);
} VURO_TARNLOG_BACKEND;

extern VUROTARN_API VURO_TARNLOG_BACKEND gVURO_TARNLOG_Backend;

/* Records */
VUROTARN_API VURO_TARNLOG* VUROTARNLogAlloc();
VUROTARN_API int VUROTARNLogFree(VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogClear(VURO_TARNLOG* pLog);
VUROTARN_API void VUROTARNLogListFree(VURO_TARNLOG_LIST* pTARNLogList);
VUROTARN_API VURO_TARNLOG* VUROTARNLogNext(const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemSetLog(VURO_TARNLOG* pTARNLog, int iLangIndex, const char* szLog);

VUROTARN_API int VUROTARNLogItemGetID(long int* pVal, const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetLevel(int* pVal, const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetHappenTime(time_t* pVal, const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetUserId(time_t* pVal, const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetObjId(char* szBuf, size_t cbBuf, const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetParentObjId(char* szBuf, size_t cbBuf,
                                               const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetUsername(char* szBuf, size_t cbBuf,
                                            const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemGetExtraInfo(char* szBuf, size_t cbBuf,
                                             const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogItemSetID(VURO_TARNLOG* pTARNLog, long int val);
VUROTARN_API int VUROTARNLogItemSetLevel(VURO_TARNLOG* pTARNLog, int val);
VUROTARN_API int VUROTARNLogItemSetHappenTime(VURO_TARNLOG* pTARNLog, time_t val);
VUROTARN_API int VUROTARNLogItemSetUserId(VURO_TARNLOG* pTARNLog, time_t val);
VUROTARN_API int VUROTARNLogItemSetObjId(VURO_TARNLOG* pTARNLog, const char* szVal);
VUROTARN_API int VUROTARNLogItemSetParentObjId(VURO_TARNLOG* pTARNLog, const char* szVal);
VUROTARN_API int VUROTARNLogItemSetUsername(VURO_TARNLOG* pTARNLog, const char* szVal);
VUROTARN_API int VUROTARNLogItemSetExtraInfo(VURO_TARNLOG* pTARNLog, const char* szVal);

/* Store */
VUROTARN_API int VUROTARNLogBackendInit();
VUROTARN_API int VUROTARNLogCreate(VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogSet(const VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogGetByID(long int id, VURO_TARNLOG* pTARNLog);
VUROTARN_API int VUROTARNLogDeleteByID(long int id);
/* Keys of pParms: obj_id, filter_word, filter_field, lang, sort_by,
 * sort_direction, limit, offset. The number of listed records. */
VUROTARN_API int VUROTARNLogList(const PQLIBSZHASH pParms, VURO_TARNLOG_LIST* pTARNLogList,
                                 size_t* pTotalCount, size_t* pErrCount, size_t* pWarnCount,
                                 size_t* pInfoCount);
VUROTARN_API int VUROTARNLogListAll(VURO_TARNLOG_LIST* pTARNLogList, BOOL (*isKeep)(VURO_TARNLOG*));
VUROTARN_API int VUROTARNLogPrint(const PQLIBSZHASH pParms, size_t* pTotalCount,
                                  VUROTARNLOG_ROW_CALLBACK callback);

/* Levels */
VUROTARN_API std::string VUROTARNLevelIntToStr(int iLevel);
VUROTARN_API std::string VUROTARNLevelIntToRevealStr(int iLevel);
VUROTARN_API int VUROTARNLevelStrToInt(const std::string& strLevel);

/* Helpers */
VUROTARN_API void VUROMsgGetLocalLang(char* szLang, int cbLang);
VUROTARN_API int VUROMsgGetObjIdByUser(const char* szUserName, char* szObjId, int cbObjId);
/* The same list without a size limit, for a view of any number of objects:
 * *pIds receives it. 0 or -1. */
VUROTARN_API int VUROMsgGetObjIdListByUser(const char* szUserName, std::string* pIds);
VUROTARN_API Json::Value VUROTARNLogStructToJson(const VURO_TARNLOG* pTARNLog);

/* SQLite backend */
VUROTARN_API int tarnlog_sqlite_init(VURO_TARNLOG_BACKEND* pBackend);
VUROTARN_API void* VUROTARNLogDBRecordListAndCallback(sqlite3* db, const char* szCondition,
                                                      VUROTARNLOG_ROW_CALLBACK callback,
                                                      PQLIBSZHASH pParms);

/* Message conversion */
VUROTARN_API int VUROTARNLog(int iLevel, const char* szObjId, const char* szParentObjId,
                             const char* szSection, const char* szKey, PQLIBSZLIST pslParam,
                             const char* szExtraInfo);
VUROTARN_API int ConvertLog(const char* szSection, const char* szKey, PQLIBSZLIST pslParam,
                            VURO_TARNLOG* pTARNLog);
VUROTARN_API std::string VUROTARNConverStr(const char* szSection, const char* szKey,
                                           const char* szLang);
VUROTARN_API void ParamGet(PQLIBSZLIST pslParam, const int idx, const char* szFile, char* szVal,
                           int cbSize);
VUROTARN_API int CheckSectionKey_tpl1(const char* szStr, char* szSec, char* szKey, int cbSize);
VUROTARN_API int CheckSectionKey_tpl2(const char* szStr, char* szSec, char* szKey, char* szTpl,
                                      int cbSize);
VUROTARN_API int VUROTARNLogNgSend(int iLevel, const char* szUsername, const char* szContent);

VUROTARN_API std::string VUROTARNLogFormat_StatusValue(int iStatus);
VUROTARN_API std::string VUROTARNLogFormat_CheckValue(int iEnable);
VUROTARN_API std::string VUROTARNLogFormat_OUValue(long int ID);
VUROTARN_API std::string VUROTARNLogFormat_PEERValue(long int ID);
VUROTARN_API std::string VUROTARNLogFormat_LinkedGPOValue(const Json::Value& jLinkedGPO);
VUROTARN_API std::string VUROTARNLogFormat_UptimeValue(int iUptime);

/* Change log helpers */
VUROTARN_API std::string VUROTARNOuGetObjID(VURO_TARN_OU* pOu);
VUROTARN_API std::string VUROTARNDelegateGetUGName(VURO_TARN_DELEGATE* pDelegate);
VUROTARN_API std::string VUROTARNDelegateGetTargetName(VURO_TARN_DELEGATE* pDelegate);

#endif
