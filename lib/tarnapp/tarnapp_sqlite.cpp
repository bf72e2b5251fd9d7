/* tarnapp_sqlite.cpp - storage of applications in table "app": the family's
 * field table (columns, hook arguments, JSON) and its SQL texts; the
 * storage functions are the record pattern's. */
#include "tarnapp/vurotarnapp_int.h"

#define APP_NAME_FIELD(lang, hook) \
    VUROTARN_FIELD(VURO_TARN_APP, str_name_##lang, "name_" #lang, hook)

// Only the English name reaches the hooks, as "Name".
const VurotarnField<VURO_TARN_APP> VurotarnAppTraits::kFields[32] = {
    VUROTARN_FIELD_J(VURO_TARN_APP, id, "id", "ID", kJsonOut),
    VUROTARN_FIELD(VURO_TARN_APP, mtime, "mtime", "ModifiedTime"),
    VUROTARN_FIELD_J(VURO_TARN_APP, peer_id, "peer_id", "PeerID", kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_app_id, "app_id", "AppID", kJsonOut),
    APP_NAME_FIELD(enu, "Name"),
    APP_NAME_FIELD(cht, NULL),
    APP_NAME_FIELD(chs, NULL),
    APP_NAME_FIELD(krn, NULL),
    APP_NAME_FIELD(ger, NULL),
    APP_NAME_FIELD(fre, NULL),
    APP_NAME_FIELD(ita, NULL),
    APP_NAME_FIELD(spn, NULL),
    APP_NAME_FIELD(jpn, NULL),
    APP_NAME_FIELD(dan, NULL),
    APP_NAME_FIELD(nor, NULL),
    APP_NAME_FIELD(sve, NULL),
    APP_NAME_FIELD(nld, NULL),
    APP_NAME_FIELD(rus, NULL),
    APP_NAME_FIELD(plk, NULL),
    APP_NAME_FIELD(ptb, NULL),
    APP_NAME_FIELD(ptg, NULL),
    APP_NAME_FIELD(hun, NULL),
    APP_NAME_FIELD(trk, NULL),
    APP_NAME_FIELD(csy, NULL),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_app_version, "app_version", "Version", kJsonOut),
    VUROTARN_FIELD_J(VURO_TARN_APP, icon_mtime, "icon_mtime", "IconMtime", kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_protocol, "protocol", "Protocol", kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_APP, port, "port", "Port", kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_url, "url", "URL", kJsonMore),
    VUROTARN_FIELD_JSON(VURO_TARN_APP, str_windowparam, "windowparam", "WindowParam",
                        "window_param", kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_APP, is_package, "is_package", "IsPackage", kJsonMore),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_extra_info, "extra_info", "ExtraInfo",
                     kJsonMore | kJsonDoc),
};

#define APP_LANG_NAME(lang) \
    { #lang, &VURO_TARN_APP::str_name_##lang }

const VurotarnAppLangName kVurotarnAppLangNames[20] = {
    APP_LANG_NAME(enu), APP_LANG_NAME(cht), APP_LANG_NAME(chs), APP_LANG_NAME(krn),
    APP_LANG_NAME(ger), APP_LANG_NAME(fre), APP_LANG_NAME(ita), APP_LANG_NAME(spn),
    APP_LANG_NAME(jpn), APP_LANG_NAME(dan), APP_LANG_NAME(nor), APP_LANG_NAME(sve),
    APP_LANG_NAME(nld), APP_LANG_NAME(rus), APP_LANG_NAME(plk), APP_LANG_NAME(ptb),
    APP_LANG_NAME(ptg), APP_LANG_NAME(hun), APP_LANG_NAME(trk), APP_LANG_NAME(csy),
};

// The other languages' names are left out of the comparison: a change of
// them alone is not written.
char* VurotarnAppTraits::fullMatchSql(const Rec& r) {
    return sqlite3_mprintf(
        "SELECT id FROM app WHERE peer_id=%llu AND app_id='%q' AND name_enu='%q' AND "
        "app_version='%q' AND icon_mtime=%lu AND protocol='%q' AND port=%u AND url='%q' AND "
        "windowparam='%q' AND is_package=%u AND extra_info='%q';",
        r.peer_id, r.str_app_id.c_str(), r.str_name_enu.c_str(), r.str_app_version.c_str(),
        (unsigned long)r.icon_mtime, r.str_protocol.c_str(), (unsigned)r.port, r.str_url.c_str(),
        r.str_windowparam.c_str(), (unsigned)r.is_package, r.str_extra_info.c_str());
}

char* VurotarnAppTraits::keyQuerySql(const Rec& r) {
    return sqlite3_mprintf("SELECT id FROM app WHERE peer_id=%llu AND app_id='%q'", r.peer_id,
                           r.str_app_id.c_str());
}

char* VurotarnAppTraits::upsertSql(const Rec& r, const char* szKeyQuery) {
    return sqlite3_mprintf(
        "INSERT OR REPLACE INTO app ( id, mtime, peer_id, app_id, name_enu, name_cht, name_chs, "
        "name_krn, name_ger, name_fre, name_ita, name_spn, name_jpn, name_dan, name_nor, "
        "name_sve, name_nld, name_rus, name_plk, name_ptb, name_ptg, name_hun, name_trk, "
        "name_csy, app_version, icon_mtime, protocol, port, url, windowparam, is_package, "
        "extra_info) VALUES ( (%s), %ld, %llu, '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', "
        "'%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', '%q', "
        "%ld, '%q', %d, '%q', '%q', %d, '%q');",
        szKeyQuery, (long)r.mtime, r.peer_id, r.str_app_id.c_str(), r.str_name_enu.c_str(),
        r.str_name_cht.c_str(), r.str_name_chs.c_str(), r.str_name_krn.c_str(),
        r.str_name_ger.c_str(), r.str_name_fre.c_str(), r.str_name_ita.c_str(),
        r.str_name_spn.c_str(), r.str_name_jpn.c_str(), r.str_name_dan.c_str(),
        r.str_name_nor.c_str(), r.str_name_sve.c_str(), r.str_name_nld.c_str(),
        r.str_name_rus.c_str(), r.str_name_plk.c_str(), r.str_name_ptb.c_str(),
        r.str_name_ptg.c_str(), r.str_name_hun.c_str(), r.str_name_trk.c_str(),
        r.str_name_csy.c_str(), r.str_app_version.c_str(), (long)r.icon_mtime,
        r.str_protocol.c_str(), r.port, r.str_url.c_str(), r.str_windowparam.c_str(),
        (int)r.is_package, r.str_extra_info.c_str());
}
