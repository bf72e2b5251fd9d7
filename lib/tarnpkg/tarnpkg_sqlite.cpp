/* tarnpkg_sqlite.cpp - storage of packages in table "package": the family's
 * field table and the reads by condition and by server and package id.
 * Reads join the peer table for the owning server's name, model, version
 * and status. */
#include "common/vurotarn_holder_int.h"
#include "tarnpkg/vurotarnpkg_int.h"

namespace {

/* A member of the embedded peer: its id is the owner column, the others
 * come from the join (kColJoined) and go to no hook. Shown under "additional" when
 * szJson names it, never read from JSON. */
template <auto M>
VurotarnField<VURO_TARN_PKG> peerField(const char* szColumn, const char* szHook, const char* szJson,
                                       unsigned colFlags) {
    return {szColumn,
            szHook,
            std::is_same_v<typename VurotarnMemberOf<decltype(M)>::Value, std::string>,
            [](VURO_TARN_PKG& r, const char* v) { vurotarnFieldFromColumn<M>(r.peer, v); },
            [](const VURO_TARN_PKG& r) { return vurotarnFieldToText<M>(r.peer); },
            szJson,
            kJsonMore | colFlags,
            [](const VURO_TARN_PKG& r) { return vurotarnFieldToJson<M, kJsonMore>(r.peer); },
            NULL};
}

}  // namespace

#define PKG_FIELD(member, column, hook) VUROTARN_FIELD(VURO_TARN_PKG, member, column, hook)
#define PKG_FIELD_J(member, column, hook, flags) \
    VUROTARN_FIELD_J(VURO_TARN_PKG, member, column, hook, flags)
// The names but the English and the traditional Chinese one follow them:
// a change of them alone is not written, nor one of the install options.
#define PKG_NAME(lang) \
    VUROTARN_FIELD_F(VURO_TARN_PKG, str_pkg_name_##lang, "pkg_name_" #lang, NULL, kColNoMatch)

const VurotarnField<VURO_TARN_PKG> VurotarnPkgTraits::kFields[43] = {
    PKG_FIELD_J(id, "id", "ID", kJsonOut),
    PKG_FIELD_J(mtime, "mtime", "ModifiedTime", kJsonWanted),
    peerField<&VURO_TARN_PEER::id>("peer_id", "PeerID", "peer_id", kColKey | kColUnsigned),
    PKG_FIELD_J(str_pkg_id, "pkg_id", "PkgID", kJsonMore | kColKey),
    PKG_FIELD(str_pkg_name_enu, "pkg_name_enu", "PkgName"),
    PKG_FIELD(str_pkg_name_cht, "pkg_name_cht", NULL),
    PKG_NAME(chs),
    PKG_NAME(krn),
    PKG_NAME(ger),
    PKG_NAME(fre),
    PKG_NAME(ita),
    PKG_NAME(spn),
    PKG_NAME(jpn),
    PKG_NAME(dan),
    PKG_NAME(nor),
    PKG_NAME(sve),
    PKG_NAME(nld),
    PKG_NAME(rus),
    PKG_NAME(plk),
    PKG_NAME(ptb),
    PKG_NAME(ptg),
    PKG_NAME(hun),
    PKG_NAME(trk),
    PKG_NAME(csy),
    PKG_FIELD_J(str_pkg_version, "pkg_version", "Version", kJsonOut),
    PKG_FIELD_J(str_pkg_new_version, "pkg_new_version", NULL, kJsonMore),
    PKG_FIELD(pkg_status, "pkg_status", NULL),
    PKG_FIELD(pkg_install_status, "pkg_install_status", NULL),
    PKG_FIELD_J(beta, "beta", NULL, kJsonMore | kJsonBoolOne | kColNoMatch),
    PKG_FIELD_J(str_install_dependent_packages, "install_dependent_packages", NULL,
                kJsonMore | kColNoMatch),
    PKG_FIELD_J(str_install_conflict_packages, "install_conflict_packages", NULL,
                kJsonMore | kColNoMatch),
    PKG_FIELD_J(startable, "startable", NULL, kJsonMore | kJsonBoolOne | kColNoMatch),
    PKG_FIELD_J(silent_install, "silent_install", NULL, kJsonMore | kJsonBoolSet | kColNoMatch),
    PKG_FIELD_J(silent_upgrade, "silent_upgrade", NULL, kJsonMore | kJsonBoolSet | kColNoMatch),
    PKG_FIELD_J(silent_uninstall, "silent_uninstall", NULL, kJsonMore | kJsonBoolSet | kColNoMatch),
    PKG_FIELD_J(upgradable, "upgradable", NULL, kJsonMore | kJsonBoolSet),
    PKG_FIELD(upgradable_mtime, "upgradable_mtime", NULL),
    VUROTARN_FIELD_F(VURO_TARN_PKG, str_filter, "filter", NULL, kColNoMatch),
    PKG_FIELD_J(str_extra_info, "extra_info", NULL, kJsonMore | kJsonDoc),
    peerField<&VURO_TARN_PEER::str_hostname>("hostname", NULL, "peer_hostname", kColJoined),
    peerField<&VURO_TARN_PEER::str_model>("model", NULL, "peer_model", kColJoined),
    peerField<&VURO_TARN_PEER::str_version>("version", NULL, "peer_version", kColJoined),
    peerField<&VURO_TARN_PEER::status>("status", NULL, NULL, kColJoined),
};

int VUROTARNPkgGet_sqlite(const PQLIBSZHASH pParms, VURO_TARN_PKG* pPkg) {
    VUROTARN_ARG_CHECK(NULL, !=, pPkg, return -1);
    char szCondition[4096] = "";
    if (pParms != NULL &&
        VUROTARNSQLConditionCreate(pParms, szCondition, sizeof(szCondition)) < 0) {
        return -1;
    }
    std::string sql = VurotarnPkg::selectFrom() + " " + szCondition + ";";
    VurotarnConnection db;
    if (db.exec(sql.c_str(), VurotarnPkg::fillOne, pPkg) != 0) {
        return -1;
    }
    return pPkg->available ? 1 : 0;
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
