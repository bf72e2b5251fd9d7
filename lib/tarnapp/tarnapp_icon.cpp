/* tarnapp_icon.cpp - the icon directory of an application, removed when
 * its row goes. Leans on the platform's system root and process runner. */
#include <string>

#include "tarnapp/vurotarnapp_int.h"

int VUROTARNAppIcoDeleten(unsigned long long id) {
    char szPath[4096];
    snprintf(szPath, sizeof(szPath), "/var/packages/TARN/target/peerinfo/%llu/apps", id);
    // Below the system root: a test or a demo never touches the real one.
    const std::string strPath = VUROSysPathStr(szPath);
    char* const argv[] = {(char*)"/bin/rm", (char*)"-rf", (char*)strPath.c_str(), NULL};
    VUROTARN_PRIV priv;
    ENTERCriticalSection(priv);
    int ret = QLIBCExec("/bin/rm", argv);
    LEAVECriticalSection(priv);
    if (0 > ret) {
        VUROTARNTraceCond(__FILE__, __LINE__,
                          "0 > QLIBCExec(\"/bin/rm\", \"-rf\", szPath, NULL, NULL)");
        return -1;
    }
    return 0;
}
