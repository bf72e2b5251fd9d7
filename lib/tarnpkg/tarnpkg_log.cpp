/* tarnpkg_log.cpp - the event-log row about a package on a server, written
 * for callers outside the library that install, update or remove packages.
 * The row belongs to the server: its object ids are the peer's. */
#include "tarnlog/vurotarnlog_change_int.h"
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgLog(int iLevel, const char* szSession, const char* szKey, VURO_TARN_PEER* pPEER,
                   VURO_TARN_PKG* pPkg, const char* szLang) {
    if (pPEER == NULL || szSession == NULL || szKey == NULL || pPkg == NULL) {
        return -1;
    }
    VurotarnLogParams params;
    if (!params.ok()) {
        return -1;
    }
    params.push(VUROTARNPeerGetName(pPEER));
    params.push(vurotarnPkgNameInLang(*pPkg, szLang));
    if (VUROTARNLog(iLevel, VUROTARNPeerGetObjID(pPEER).c_str(),
                    VUROTARNPeerGetParentObjID(pPEER).c_str(), szSession, szKey, params.get(),
                    NULL) != 0) {
        // The caller's own work is done; a lost log row does not undo it.
        VUROTARN_LOG("Failed to log VURO_TARN_PEER [%s]:[%s]", szSession, szKey);
    }
    return 0;
}
