/* tarnpkg_get.cpp - reading one package by id, by several ids, or by its
 * server and package id. No row is no failure here. */
#include "common/vurotarn_holder_int.h"
#include "tarnpkg/vurotarnpkg_int.h"

int VUROTARNPkgGet(unsigned long long id, VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::get(id, pPkg);
}

int VUROTARNPkgGetMultiple(unsigned long long* ids, size_t cID, VURO_TARN_PKG* pPkg) {
    return VurotarnPkg::getMultiple(ids, cID, pPkg);
}

int VUROTARNPkgGetBy(const unsigned long long peerId, const char* szPkgId, VURO_TARN_PKG* pPkg) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    VUROTARN_ARG_CHECK(0, <, peerId, return -1);
    VUROTARN_ARG_CHECK_RAW(NULL, !=, szPkgId, return -1);
    VurotarnHash hash(512);
    if (!hash) {
        VUROTARN_TRACE_LOCATED("malloc hash failed");
        return -1;
    }
    if (!hash.set("peer_id", std::to_string(peerId)).set("pkg_id", szPkgId) ||
        VUROTARNPkgGet_sqlite(hash.get(), pPkg) < 0) {
        VUROTARN_LOG("Failed to get of VURO_TARN_PKG.");
        return -1;
    }
    return 0;
}
