/* tarnapp_icon.cpp - the icon directory of an application, removed when
 * its row goes. Leans on the platform's tree removal, which stays below the
 * system root and never follows a link. */
#include <vurofs.h>

#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppIcoDeleten(unsigned long long id) {
    char szPath[4096];
    snprintf(szPath, sizeof(szPath), "/var/packages/TARN/target/peerinfo/%llu/apps", id);
    // A system path: the platform joins it below the root and refuses a
    // peerinfo entry that is a link leading out of it.
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    int ret = VUROFSRemoveTree(szPath);
    LEAVECriticalSection(priv);
    if (0 > ret) {
        VUROTARNTraceCond(__FILE__, __LINE__, "0 > VUROFSRemoveTree(szPath)");
        return -1;
    }
    return 0;
}
