/* tarnapp_icon.cpp - the icon directory of an application, removed when
 * its row goes. Leans on the platform's tree removal, which stays below the
 * system root and never follows a link. */
#include <vurofs.h>

#include "common/vurotarn_holder_int.h"
#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppIcoDeleten(unsigned long long id) {
    char szPath[4096];
    snprintf(szPath, sizeof(szPath), "/var/packages/TARN/target/peerinfo/%llu/apps", id);
    // A system path: the platform joins it below the root and refuses a
    // peerinfo entry that is a link leading out of it.
    if (0 > VUROTARN_PRIVILEGED(VUROFSRemoveTree(szPath))) {
        VUROTARNTraceCond(__FILE__, __LINE__, "0 > VUROFSRemoveTree(szPath)");
        return -1;
    }
    return 0;
}
