/* tarnlog.cpp - event log records: allocation, field access, levels, the
 * JSON form, and the dispatch of store operations to the backend. */
#include <string.h>
#include <syslog.h>

#include "common/vurotarn_list_int.h"
#include "tarnlog/vurotarnlog_int.h"
#include "vurojson.h"
#include "vurotarn_error.h"
#include "vurotarn_macro_util.h"

const VurotarnLogLang kVurotarnLogLangs[VUROTARNLOG_LANG_COUNT] = {
    {"chs", &VURO_TARNLOG::str_chs}, {"cht", &VURO_TARNLOG::str_cht},
    {"csy", &VURO_TARNLOG::str_csy}, {"dan", &VURO_TARNLOG::str_dan},
    {"enu", &VURO_TARNLOG::str_enu}, {"fre", &VURO_TARNLOG::str_fre},
    {"ger", &VURO_TARNLOG::str_ger}, {"hun", &VURO_TARNLOG::str_hun},
    {"ita", &VURO_TARNLOG::str_ita}, {"jpn", &VURO_TARNLOG::str_jpn},
    {"krn", &VURO_TARNLOG::str_krn}, {"nld", &VURO_TARNLOG::str_nld},
    {"nor", &VURO_TARNLOG::str_nor}, {"plk", &VURO_TARNLOG::str_plk},
    {"ptb", &VURO_TARNLOG::str_ptb}, {"ptg", &VURO_TARNLOG::str_ptg},
    {"rus", &VURO_TARNLOG::str_rus}, {"spn", &VURO_TARNLOG::str_spn},
    {"sve", &VURO_TARNLOG::str_sve}, {"trk", &VURO_TARNLOG::str_trk},
};

int vurotarnLogLangIndex(const char* szCode) {
    if (szCode == NULL) {
        return -1;
    }
    for (int i = 0; i < VUROTARNLOG_LANG_COUNT; i++) {
        if (strcmp(kVurotarnLogLangs[i].szCode, szCode) == 0) {
            return i;
        }
    }
    return -1;
}

/* Built when the library loads and destroyed when it unloads. */
VURO_TARNLOG_LEVEL_TABLE gVUROTARNLevelTable[9] = {
    {0, "emerg", "Error"},      {1, "alert", "Error"},       {2, "crit", "Error"},
    {3, "err", "Error"},        {4, "warning", "Warning"},   {5, "notice", "Warning"},
    {6, "info", "Information"}, {7, "debug", "Information"}, {-1, "", ""},
};

VURO_TARNLOG_BACKEND gVURO_TARNLOG_Backend = {NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL};

/* ---- records ---- */

VURO_TARNLOG* VUROTARNLogAlloc() { return new (std::nothrow) VURO_TARNLOG(); }

int VUROTARNLogFree(VURO_TARNLOG* pTARNLog) {
    delete pTARNLog;
    return 0;
}

void VUROTARNLogListFree(VURO_TARNLOG_LIST* pTARNLogList) {
    if (pTARNLogList != NULL) {
        vurotarnListDestroy(pTARNLogList);
    }
}

int VUROTARNLogClear(VURO_TARNLOG* pLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pLog, return -1);
    // The record's pNext is the head of the chain behind it.
    VUROTARNLogListFree(&pLog->pNext);
    int level = pLog->level;
    *pLog = VURO_TARNLOG();
    pLog->level = level;
    return 0;
}

VURO_TARNLOG* VUROTARNLogNext(const VURO_TARNLOG* pTARNLog) {
    return pTARNLog != NULL ? pTARNLog->pNext : NULL;
}

int VUROTARNLogItemSetLog(VURO_TARNLOG* pTARNLog, int iLangIndex, const char* szLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);
    VUROTARN_ARG_CHECK(NULL, !=, szLog, return -1);
    if (iLangIndex < 0 || iLangIndex >= VUROTARNLOG_LANG_COUNT) {
        return -1;
    }
    pTARNLog->*kVurotarnLogLangs[iLangIndex].field = szLog;
    return 0;
}

/* ---- getters and setters ---- */

#define VUROTARNLOG_SCALAR(X, type, member, store)                        \
    int VUROTARNLogItemGet##X(type* pVal, const VURO_TARNLOG* pTARNLog) { \
        VUROTARN_ARG_CHECK(NULL, !=, pVal, return -1);                    \
        VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);                \
        *pVal = (type)pTARNLog->member;                                   \
        return 0;                                                         \
    }                                                                     \
    int VUROTARNLogItemSet##X(VURO_TARNLOG* pTARNLog, type val) {         \
        VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);                \
        pTARNLog->member = store;                                         \
        return 0;                                                         \
    }

VUROTARNLOG_SCALAR(ID, long int, id, val)
VUROTARNLOG_SCALAR(Level, int, level, val)
VUROTARNLOG_SCALAR(HappenTime, time_t, happen_time, val)
// The field is 32 bits wide: the setter keeps the low half, and the getter
// reads it unsigned, so "no user" comes back as 4294967295.
VUROTARNLOG_SCALAR(UserId, time_t, user_id, (uid_t)(val & 0xFFFFFFFF))

#define VUROTARNLOG_STRING(X, member)                                                    \
    int VUROTARNLogItemGet##X(char* szBuf, size_t cbBuf, const VURO_TARNLOG* pTARNLog) { \
        VUROTARN_ARG_CHECK(NULL, !=, szBuf, return -1);                                  \
        VUROTARN_ARG_CHECK(0, <, cbBuf, return -1);                                      \
        VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);                               \
        snprintf(szBuf, cbBuf, "%s", pTARNLog->member.c_str());                          \
        return 0;                                                                        \
    }                                                                                    \
    int VUROTARNLogItemSet##X(VURO_TARNLOG* pTARNLog, const char* szVal) {               \
        VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);                               \
        VUROTARN_ARG_CHECK(NULL, !=, szVal, return -1);                                  \
        pTARNLog->member = szVal;                                                        \
        return 0;                                                                        \
    }

VUROTARNLOG_STRING(ObjId, str_obj_id)
VUROTARNLOG_STRING(ParentObjId, str_parent_obj_id)
VUROTARNLOG_STRING(Username, str_username)
VUROTARNLOG_STRING(ExtraInfo, str_extra_info)

/* ---- levels ---- */

static const VURO_TARNLOG_LEVEL_TABLE* levelEntry(int iLevel) {
    for (const VURO_TARNLOG_LEVEL_TABLE* p = gVUROTARNLevelTable; p->iLevel >= 0; p++) {
        if (p->iLevel == iLevel) {
            return p;
        }
    }
    return NULL;
}

std::string VUROTARNLevelIntToStr(int iLevel) {
    const VURO_TARNLOG_LEVEL_TABLE* p = levelEntry(iLevel);
    return p != NULL ? p->strLevel : "info";
}

std::string VUROTARNLevelIntToRevealStr(int iLevel) {
    const VURO_TARNLOG_LEVEL_TABLE* p = levelEntry(iLevel);
    return p != NULL ? p->strReveal : "Information";
}

int VUROTARNLevelStrToInt(const std::string& strLevel) {
    for (const VURO_TARNLOG_LEVEL_TABLE* p = gVUROTARNLevelTable; p->iLevel >= 0; p++) {
        if (p->strLevel == strLevel) {
            return p->iLevel;
        }
    }
    return 6;
}

/* ---- JSON ---- */

Json::Value VUROTARNLogStructToJson(const VURO_TARNLOG* pTARNLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return Json::Value::null);
    Json::Value j(Json::objectValue);
    j["id"] = (Json::Int64)pTARNLog->id;
    j["level"] = pTARNLog->level;
    j["happen_time"] = (Json::Int64)pTARNLog->happen_time;
    j["user_id"] = (Json::Int64)(uint32_t)pTARNLog->user_id;
    j["obj_id"] = pTARNLog->str_obj_id;
    j["parent_obj_id"] = pTARNLog->str_parent_obj_id;
    j["username"] = pTARNLog->str_username;
    Json::Value jExtra;
    vurojson::fromString(jExtra, pTARNLog->str_extra_info);
    j["extra_info"] = jExtra;
    for (const VurotarnLogLang& lang : kVurotarnLogLangs) {
        j[lang.szCode] = pTARNLog->*lang.field;
    }
    return j;
}

/* ---- store dispatch ---- */

static bool gBackendReady = false;

int VUROTARNLogBackendInit() {
    if (gBackendReady) {
        return 0;
    }
    int failed = 0;
    // Each listed backend's initialiser fills the one table; a failure is
    // reported where the backend is listed.
#define VUROTARNLOG_BACKEND(name)                                                       \
    if (name##_init(&gVURO_TARNLOG_Backend) < 0) {                                      \
        syslog(LOG_ERR, "%s:%d Failed to init backend %s.", __FILE__, __LINE__, #name); \
        failed = 1;                                                                     \
    }
#include "tarnlog/vurotarnlog_backend.def"
#undef VUROTARNLOG_BACKEND
    if (failed) {
        return -1;
    }
    gBackendReady = true;
    return 0;
}

/* Runs one backend entry with the common reporting: a negative result is
 * logged with the entry's name; a missing backend is ERR_KEY_NOT_FOUND. */
template <typename Fn, typename... Args>
static int dispatch(Fn VURO_TARNLOG_BACKEND::*entry, const char* szEntry, Args... args) {
    if (VUROTARNLogBackendInit() != 0 || gVURO_TARNLOG_Backend.*entry == NULL) {
        VUROTARN_LOG("Init backend failed. " VUROTARN_ERRSTORE_FMT, VUROTARN_ERRSTORE_ARGS);
        QLIBCErrSetEx(ERR_KEY_NOT_FOUND, __FILE__, __LINE__);
        return -1;
    }
    int rc = (gVURO_TARNLOG_Backend.*entry)(args...);
    if (rc < 0) {
        VUROTARN_LOG("Failed to execute %s of backend [%s] " VUROTARN_ERRSTORE_FMT, szEntry,
                     gVURO_TARNLOG_Backend.name, VUROTARN_ERRSTORE_ARGS);
    }
    return rc;
}

int VUROTARNLogCreate(VURO_TARNLOG* pTARNLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);
    return dispatch(&VURO_TARNLOG_BACKEND::create, "create", pTARNLog);
}

int VUROTARNLogGetByID(long int id, VURO_TARNLOG* pTARNLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);
    return dispatch(&VURO_TARNLOG_BACKEND::get_by_id, "get_by_id", id, pTARNLog);
}

int VUROTARNLogSet(const VURO_TARNLOG* pTARNLog) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLog, return -1);
    if (pTARNLog->id < 0) {
        VUROTARN_LOG("Invalid id: [%ld]", pTARNLog->id);
        return -1;
    }
    VURO_TARNLOG tmp;
    if (VUROTARNLogGetByID(pTARNLog->id, &tmp) < 0) {
        VUROTARN_LOG("get VURO_TARNLOG failed. id:[%ld] " VUROTARN_ERRSTORE_FMT, pTARNLog->id,
                     VUROTARN_ERRSTORE_ARGS);
        return -1;
    }
    return dispatch(&VURO_TARNLOG_BACKEND::set, "set", pTARNLog);
}

int VUROTARNLogDeleteByID(long int id) {
    if (id != -1) {
        VURO_TARNLOG tmp;
        if (VUROTARNLogGetByID(id, &tmp) < 0) {
            VUROTARN_LOG("get VURO_TARNLOG failed. id:[%ld] " VUROTARN_ERRSTORE_FMT, id,
                         VUROTARN_ERRSTORE_ARGS);
            return -1;
        }
    }
    return dispatch(&VURO_TARNLOG_BACKEND::delete_by_id, "delete_by_id", id);
}

int VUROTARNLogList(const PQLIBSZHASH pParms, VURO_TARNLOG_LIST* pTARNLogList, size_t* pTotalCount,
                    size_t* pErrCount, size_t* pWarnCount, size_t* pInfoCount) {
    return dispatch(&VURO_TARNLOG_BACKEND::list, "list", pParms, pTARNLogList, pTotalCount,
                    pErrCount, pWarnCount, pInfoCount);
}

int VUROTARNLogListAll(VURO_TARNLOG_LIST* pTARNLogList, BOOL (*isKeep)(VURO_TARNLOG*)) {
    VUROTARN_ARG_CHECK(NULL, !=, pTARNLogList, return -1);
    return dispatch(&VURO_TARNLOG_BACKEND::list_all, "list_all", pTARNLogList, isKeep);
}

int VUROTARNLogPrint(const PQLIBSZHASH pParms, size_t* pTotalCount,
                     VUROTARNLOG_ROW_CALLBACK callback) {
    return dispatch(&VURO_TARNLOG_BACKEND::print, "print", pParms, pTotalCount, callback);
}
