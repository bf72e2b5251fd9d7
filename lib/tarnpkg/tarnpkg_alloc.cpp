/* tarnpkg_alloc.cpp - package records in memory: the reset and the name
 * fields by language. */
#include "tarnpkg/vurotarnpkg_int.h"

const VURO_TARN_PKG_NAME_FIELD gVUROTARNPkgNameFields[] = {
    {"enu", &VURO_TARN_PKG::str_pkg_name_enu},
    {"cht", &VURO_TARN_PKG::str_pkg_name_cht},
    {"chs", &VURO_TARN_PKG::str_pkg_name_chs},
    {"krn", &VURO_TARN_PKG::str_pkg_name_krn},
    {"ger", &VURO_TARN_PKG::str_pkg_name_ger},
    {"fre", &VURO_TARN_PKG::str_pkg_name_fre},
    {"ita", &VURO_TARN_PKG::str_pkg_name_ita},
    {"spn", &VURO_TARN_PKG::str_pkg_name_spn},
    {"jpn", &VURO_TARN_PKG::str_pkg_name_jpn},
    {"dan", &VURO_TARN_PKG::str_pkg_name_dan},
    {"nor", &VURO_TARN_PKG::str_pkg_name_nor},
    {"sve", &VURO_TARN_PKG::str_pkg_name_sve},
    {"nld", &VURO_TARN_PKG::str_pkg_name_nld},
    {"rus", &VURO_TARN_PKG::str_pkg_name_rus},
    {"plk", &VURO_TARN_PKG::str_pkg_name_plk},
    {"ptb", &VURO_TARN_PKG::str_pkg_name_ptb},
    {"ptg", &VURO_TARN_PKG::str_pkg_name_ptg},
    {"hun", &VURO_TARN_PKG::str_pkg_name_hun},
    {"trk", &VURO_TARN_PKG::str_pkg_name_trk},
    {"csy", &VURO_TARN_PKG::str_pkg_name_csy},
    {NULL, NULL},
};

const std::string& vurotarnPkgNameInLang(const VURO_TARN_PKG& pkg, const char* szLang) {
    return vurotarnNameInLang(pkg, gVUROTARNPkgNameFields, (size_t)-1, szLang,
                              pkg.str_pkg_name_enu);
}

void VurotarnPkgTraits::onClear(Rec& rec) {
    VUROTARNPeerClear(&rec.peer);  // whatever a caller chained to it goes too
    rec = Rec();
    // Cleared means "to be created"; unlike construction, startable is off.
    rec.id = ~0ULL;
    rec.startable = FALSE;
}
