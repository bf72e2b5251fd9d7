/* tarnpkg_sqlite.cpp - storage of packages in table "package": the family's
 * field table, its SQL texts and the read by condition. Reads join the peer table for the owning
 * server's name, model, version and status. */
#include "tarnpkg/vurotarnpkg_int.h"

namespace {

/* A member of the embedded peer: its id is the owner column, the others
 * come from the join and go to no hook. Shown under "additional" when
 * szJson names it, never read from JSON. */
template <auto M>
VurotarnField<VURO_TARN_PKG> peerField(const char* szColumn, const char* szHook,
                                       const char* szJson) {
    return {szColumn,
            szHook,
            std::is_same_v<typename VurotarnMemberOf<decltype(M)>::Value, std::string>,
            [](VURO_TARN_PKG& r, const char* v) { vurotarnFieldFromColumn<M>(r.peer, v); },
            [](const VURO_TARN_PKG& r) { return vurotarnFieldToText<M>(r.peer); },
            szJson,
            kJsonMore,
            [](const VURO_TARN_PKG& r) { return vurotarnFieldToJson<M, kJsonMore>(r.peer); },
            NULL};
}

}  // namespace

#define PKG_FIELD(member, column, hook) VUROTARN_FIELD(VURO_TARN_PKG, member, column, hook)
#define PKG_FIELD_J(member, column, hook, flags) \
    VUROTARN_FIELD_J(VURO_TARN_PKG, member, column, hook, flags)

const VurotarnField<VURO_TARN_PKG> VurotarnPkgTraits::kFields[43] = {
    PKG_FIELD_J(id, "id", "ID", kJsonOut),
    PKG_FIELD_J(mtime, "mtime", "ModifiedTime", kJsonWanted),
    peerField<&VURO_TARN_PEER::id>("peer_id", "PeerID", "peer_id"),
    PKG_FIELD_J(str_pkg_id, "pkg_id", "PkgID", kJsonMore),
    PKG_FIELD(str_pkg_name_enu, "pkg_name_enu", "PkgName"),
    PKG_FIELD(str_pkg_name_cht, "pkg_name_cht", NULL),
    PKG_FIELD(str_pkg_name_chs, "pkg_name_chs", NULL),
    PKG_FIELD(str_pkg_name_krn, "pkg_name_krn", NULL),
    PKG_FIELD(str_pkg_name_ger, "pkg_name_ger", NULL),
    PKG_FIELD(str_pkg_name_fre, "pkg_name_fre", NULL),
    PKG_FIELD(str_pkg_name_ita, "pkg_name_ita", NULL),
    PKG_FIELD(str_pkg_name_spn, "pkg_name_spn", NULL),
    PKG_FIELD(str_pkg_name_jpn, "pkg_name_jpn", NULL),
    PKG_FIELD(str_pkg_name_dan, "pkg_name_dan", NULL),
    PKG_FIELD(str_pkg_name_nor, "pkg_name_nor", NULL),
    PKG_FIELD(str_pkg_name_sve, "pkg_name_sve", NULL),
    PKG_FIELD(str_pkg_name_nld, "pkg_name_nld", NULL),
    PKG_FIELD(str_pkg_name_rus, "pkg_name_rus", NULL),
    PKG_FIELD(str_pkg_name_plk, "pkg_name_plk", NULL),
    PKG_FIELD(str_pkg_name_ptb, "pkg_name_ptb", NULL),
    PKG_FIELD(str_pkg_name_ptg, "pkg_name_ptg", NULL),
    PKG_FIELD(str_pkg_name_hun, "pkg_name_hun", NULL),
    PKG_FIELD(str_pkg_name_trk, "pkg_name_trk", NULL),
    PKG_FIELD(str_pkg_name_csy, "pkg_name_csy", NULL),
    PKG_FIELD_J(str_pkg_version, "pkg_version", "Version", kJsonOut),
    PKG_FIELD_J(str_pkg_new_version, "pkg_new_version", NULL, kJsonMore),
    PKG_FIELD(pkg_status, "pkg_status", NULL),
    PKG_FIELD(pkg_install_status, "pkg_install_status", NULL),
    PKG_FIELD_J(beta, "beta", NULL, kJsonMore | kJsonBoolOne),
    PKG_FIELD_J(str_install_dependent_packages, "install_dependent_packages", NULL, kJsonMore),
    PKG_FIELD_J(str_install_conflict_packages, "install_conflict_packages", NULL, kJsonMore),
    PKG_FIELD_J(startable, "startable", NULL, kJsonMore | kJsonBoolOne),
    PKG_FIELD_J(silent_install, "silent_install", NULL, kJsonMore | kJsonBoolSet),
    PKG_FIELD_J(silent_upgrade, "silent_upgrade", NULL, kJsonMore | kJsonBoolSet),
    PKG_FIELD_J(silent_uninstall, "silent_uninstall", NULL, kJsonMore | kJsonBoolSet),
    PKG_FIELD_J(upgradable, "upgradable", NULL, kJsonMore | kJsonBoolSet),
    PKG_FIELD(upgradable_mtime, "upgradable_mtime", NULL),
    PKG_FIELD(str_filter, "filter", NULL),
    PKG_FIELD_J(str_extra_info, "extra_info", NULL, kJsonMore | kJsonDoc),
    peerField<&VURO_TARN_PEER::str_hostname>("hostname", NULL, "peer_hostname"),
    peerField<&VURO_TARN_PEER::str_model>("model", NULL, "peer_model"),
    peerField<&VURO_TARN_PEER::str_version>("version", NULL, "peer_version"),
    peerField<&VURO_TARN_PEER::status>("status", NULL, NULL),
};

char* VurotarnPkgTraits::fullMatchSql(const Rec& r) {
    return sqlite3_mprintf(
        "SELECT id FROM package WHERE peer_id=%llu AND pkg_id='%q' AND pkg_name_enu='%q' AND "
        "pkg_name_cht='%q' AND pkg_version='%q' AND pkg_new_version='%q' AND pkg_status=%u AND "
        "pkg_install_status=%u AND upgradable=%d AND upgradable_mtime=%ld AND extra_info='%q';",
        (unsigned long long)r.peer.id, r.str_pkg_id.c_str(), r.str_pkg_name_enu.c_str(),
        r.str_pkg_name_cht.c_str(), r.str_pkg_version.c_str(), r.str_pkg_new_version.c_str(),
        r.pkg_status, r.pkg_install_status, r.upgradable, (long)r.upgradable_mtime,
        r.str_extra_info.c_str());
}

char* VurotarnPkgTraits::keyQuerySql(const Rec& r) {
    return sqlite3_mprintf("SELECT id FROM package WHERE peer_id=%llu AND pkg_id='%q'",
                           (unsigned long long)r.peer.id, r.str_pkg_id.c_str());
}

char* VurotarnPkgTraits::upsertSql(const Rec& r, const char* szKeyQuery) {
    return sqlite3_mprintf(
        "INSERT OR REPLACE INTO package ( id, mtime, peer_id, pkg_id, pkg_name_enu, pkg_name_cht, "
        "pkg_name_chs, pkg_name_krn, pkg_name_ger, pkg_name_fre, pkg_name_ita, pkg_name_spn, "
        "pkg_name_jpn, pkg_name_dan, pkg_name_nor, pkg_name_sve, pkg_name_nld, pkg_name_rus, "
        "pkg_name_plk, pkg_name_ptb, pkg_name_ptg, pkg_name_hun, pkg_name_trk, pkg_name_csy, "
        "pkg_version, pkg_new_version, pkg_status, pkg_install_status, beta, "
        "install_dependent_packages, install_conflict_packages, startable, silent_install, "
        "silent_upgrade, silent_uninstall, upgradable, upgradable_mtime, filter, extra_info) "
        "VALUES ( (%s), %ld, %llu, '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', "
        "'%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', %u, %u, "
        "%d, '%q', '%q', %d, %d, %d, %d, %d, %ld, '%q', '%q');",
        szKeyQuery, (long)r.mtime, (unsigned long long)r.peer.id, r.str_pkg_id.c_str(),
        r.str_pkg_name_enu.c_str(), r.str_pkg_name_cht.c_str(), r.str_pkg_name_chs.c_str(),
        r.str_pkg_name_krn.c_str(), r.str_pkg_name_ger.c_str(), r.str_pkg_name_fre.c_str(),
        r.str_pkg_name_ita.c_str(), r.str_pkg_name_spn.c_str(), r.str_pkg_name_jpn.c_str(),
        r.str_pkg_name_dan.c_str(), r.str_pkg_name_nor.c_str(), r.str_pkg_name_sve.c_str(),
        r.str_pkg_name_nld.c_str(), r.str_pkg_name_rus.c_str(), r.str_pkg_name_plk.c_str(),
        r.str_pkg_name_ptb.c_str(), r.str_pkg_name_ptg.c_str(), r.str_pkg_name_hun.c_str(),
        r.str_pkg_name_trk.c_str(), r.str_pkg_name_csy.c_str(), r.str_pkg_version.c_str(),
        r.str_pkg_new_version.c_str(), r.pkg_status, r.pkg_install_status, r.beta,
        r.str_install_dependent_packages.c_str(), r.str_install_conflict_packages.c_str(),
        r.startable, r.silent_install, r.silent_upgrade, r.silent_uninstall, r.upgradable,
        (long)r.upgradable_mtime, r.str_filter.c_str(), r.str_extra_info.c_str());
}

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
