/* tarnapp_sqlite.cpp - storage of applications in table "app": the family's
 * field table (columns, hook arguments, JSON); the storage
 * functions and statements are the record pattern's. */
#include "tarnapp/vurotarnapp_int.h"

#define APP_NAME_FIELD(lang) \
    VUROTARN_FIELD_F(VURO_TARN_APP, str_name_##lang, "name_" #lang, NULL, kColNoMatch)

// Only the English name reaches the hooks, as "Name", and only a change of
// it is written: the other languages' names follow it.
const VurotarnField<VURO_TARN_APP> VurotarnAppTraits::kFields[32] = {
    VUROTARN_FIELD_J(VURO_TARN_APP, id, "id", "ID", kJsonOut),
    VUROTARN_FIELD(VURO_TARN_APP, mtime, "mtime", "ModifiedTime"),
    VUROTARN_FIELD_J(VURO_TARN_APP, peer_id, "peer_id", "PeerID", kJsonOut | kColKey),
    VUROTARN_FIELD_J(VURO_TARN_APP, str_app_id, "app_id", "AppID", kJsonOut | kColKey),
    VUROTARN_FIELD(VURO_TARN_APP, str_name_enu, "name_enu", "Name"),
    APP_NAME_FIELD(cht),
    APP_NAME_FIELD(chs),
    APP_NAME_FIELD(krn),
    APP_NAME_FIELD(ger),
    APP_NAME_FIELD(fre),
    APP_NAME_FIELD(ita),
    APP_NAME_FIELD(spn),
    APP_NAME_FIELD(jpn),
    APP_NAME_FIELD(dan),
    APP_NAME_FIELD(nor),
    APP_NAME_FIELD(sve),
    APP_NAME_FIELD(nld),
    APP_NAME_FIELD(rus),
    APP_NAME_FIELD(plk),
    APP_NAME_FIELD(ptb),
    APP_NAME_FIELD(ptg),
    APP_NAME_FIELD(hun),
    APP_NAME_FIELD(trk),
    APP_NAME_FIELD(csy),
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
