/* vurotarnpkg.h - the packages installed on managed servers: one row of
 * table "package" per peer and package id, with the display name in twenty
 * languages, versions and install state. Every read joins the peer table,
 * so a package whose server is gone is never found. */
#ifndef VUROTARNPKG_H
#define VUROTARNPKG_H

#include <json/json.h>

#include <string>

#include "vurotarn_type.h"
#include "vurotarnpeer.h"

/* Values of pkg_status; any other counts as unknown. */
#define VURO_TARN_PKG_STATUS_BROKEN 1
#define VURO_TARN_PKG_STATUS_RUNNING 2
#define VURO_TARN_PKG_STATUS_STOP 3
#define VURO_TARN_PKG_STATUS_NON_INSTALLED 5
#define VURO_TARN_PKG_STATUS_VERSION_LIMIT 6
/* Values of pkg_install_status that mean a running installation step. */
#define VURO_TARN_PKG_INSTALL_PROCESSING 10
#define VURO_TARN_PKG_INSTALL_UPLOADING 11
#define VURO_TARN_PKG_INSTALL_UPDATING 12

typedef struct _tag_vuro_tarn_pkg_ {
    struct _tag_vuro_tarn_pkg_* pNext = NULL;
    BOOL available = FALSE;
    unsigned long long id = 0;
    time_t mtime = 0;
    std::string str_pkg_id;
    std::string str_pkg_name_enu;
    std::string str_pkg_name_cht;
    std::string str_pkg_name_chs;
    std::string str_pkg_name_krn;
    std::string str_pkg_name_ger;
    std::string str_pkg_name_fre;
    std::string str_pkg_name_ita;
    std::string str_pkg_name_spn;
    std::string str_pkg_name_jpn;
    std::string str_pkg_name_dan;
    std::string str_pkg_name_nor;
    std::string str_pkg_name_sve;
    std::string str_pkg_name_nld;
    std::string str_pkg_name_rus;
    std::string str_pkg_name_plk;
    std::string str_pkg_name_ptb;
    std::string str_pkg_name_ptg;
    std::string str_pkg_name_hun;
    std::string str_pkg_name_trk;
    std::string str_pkg_name_csy;
    std::string str_pkg_version;
    std::string str_pkg_new_version;
    unsigned int pkg_status = 0;
    unsigned int pkg_install_status = 0;
    BOOL beta = FALSE;
    std::string str_install_dependent_packages;
    std::string str_install_conflict_packages;
    BOOL startable = TRUE;
    BOOL silent_install = FALSE;
    BOOL silent_upgrade = FALSE;
    BOOL silent_uninstall = FALSE;
    BOOL upgradable = FALSE;
    time_t upgradable_mtime = 0;
    std::string str_filter;
    std::string str_extra_info;
    /* The owning server: id is column peer_id; hostname, model, version and
     * status come from the join on read and are never written. */
    VURO_TARN_PEER peer;
} VURO_TARN_PKG;

typedef VURO_TARN_PKG* VURO_TARN_PKG_LIST;

typedef struct _tag_vuro_tarn_pkg__env_ {
    PQLIBPLUGIN pPlugin;
    int iResult;
    const VURO_TARN_PKG* pOrg;
    const VURO_TARN_PKG* pNew;
} VURO_TARN_PKG_PLUGIN_ENV;

/* The twenty name fields by language code, in field order ("enu" first),
 * ended by a row whose code is NULL. */
typedef struct {
    const char* szLang;
    std::string VURO_TARN_PKG::*member;
} VURO_TARN_PKG_NAME_FIELD;
extern VUROTARN_API const VURO_TARN_PKG_NAME_FIELD gVUROTARNPkgNameFields[];

/* Record layer. A new record has id 0 and startable 1; a cleared one has
 * id all ones (~0ULL, the mark of a row to create) and startable 0. */
VUROTARN_API VURO_TARN_PKG* VUROTARNPkgAlloc();
VUROTARN_API int VUROTARNPkgFree(VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgClear(VURO_TARN_PKG* pPkg);
VUROTARN_API VURO_TARN_PKG* VUROTARNPkgNext(const VURO_TARN_PKG* pPkg);
VUROTARN_API void VUROTARNPkgListFree(VURO_TARN_PKG_LIST* pPkgList);
/* "pkg_name" is the name in szLang (a code such as "ger"), else the
 * English one; "pkg_status" under "additional" is a text, and a running
 * installer's step ("processing", "uploading", "updating") wins over the
 * plain state. */
VUROTARN_API int VUROTARNPkgStructToJson(const char* szLang, const VURO_TARN_PKG* pPkg,
                                         const Json::Value& jAdditional, Json::Value& jRet);

/* Operation layer. A missing row is no failure of Get: it returns 0 and
 * leaves available FALSE. Create and Set are one upsert by (peer.id,
 * str_pkg_id) that writes nothing, mtime included, when the row already
 * holds the eleven compared values. */
VUROTARN_API int VUROTARNPkgGet(unsigned long long id, VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgGetMultiple(unsigned long long* ids, size_t cID, VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgGetBy(const unsigned long long peerId, const char* szPkgId,
                                  VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgCreate(VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgSet(VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgSave(VURO_TARN_PKG* pPkg);
VUROTARN_API int VUROTARNPkgDelete(unsigned long long id);
VUROTARN_API int VUROTARNPkgCreateMultiple(VURO_TARN_PKG_LIST pPkgList);
VUROTARN_API int VUROTARNPkgSetMultiple(VURO_TARN_PKG_LIST pPkgList);
VUROTARN_API int VUROTARNPkgDeleteList(VURO_TARN_PKG_LIST pPkgList);
VUROTARN_API int VUROTARNPkgDeleteMultiple(unsigned long long* ids, size_t cID);
VUROTARN_API int VUROTARNPkgDeleteAll();
VUROTARN_API int VUROTARNPkgList(const PQLIBSZHASH pParms, VURO_TARN_PKG_LIST* pPkgList,
                                 size_t* pTotalCount);
VUROTARN_API int VUROTARNPkgListAll(VURO_TARN_PKG_LIST* pPkgList,
                                    BOOL (*isKeep)(VURO_TARN_PKG*, void*), void* private_data);

/* The first row that fits a condition hash (NULL: any row): 1 when pPkg
 * was filled, 0 when not, -1 on failure. */
VUROTARN_API int VUROTARNPkgGet_sqlite(const PQLIBSZHASH pParms, VURO_TARN_PKG* pPkg);

/* Hook layer: tarnpkg/tarnpkg_create, _set, _delete. */
VUROTARN_API int VUROTARNPkgPluginInit(VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar, const char* szPlugin,
                                       const VURO_TARN_PKG* pOrg, const VURO_TARN_PKG* pNew);
VUROTARN_API int VUROTARNPkgPlugin(const SDK_PLUGIN_ACTION action,
                                   VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar);
VUROTARN_API int VUROTARNPkgPluginExit(VURO_TARN_PKG_PLUGIN_ENV* pstEnvVar);

/* One event-log row about a package on a server, for callers that install
 * or remove packages: {0} the server's name, {1} the package's name in
 * szLang. The operations of this family write no change log. */
VUROTARN_API int VUROTARNPkgLog(int iLevel, const char* szSession, const char* szKey,
                                VURO_TARN_PEER* pPEER, VURO_TARN_PKG* pPkg, const char* szLang);

/* Trims the package file store: entries of server models and builds that no
 * peer has any more, then pool files that no entry links to. */
VUROTARN_API void VUROTARNPkgClean();

#include "vurotarnpkggetter.h"
#include "vurotarnpkgsetter.h"

#endif
