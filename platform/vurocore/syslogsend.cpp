/* syslogsend.cpp - the system log service: events go to syslog with the
 * acting user in front, so an administrator can grep by user. */
#include "vurocore.h"

#include <stdlib.h>
#include <syslog.h>

int VUROSyslogSend(int iFacility, int iPriority, const char* szText) {
    (void)iFacility;  // one log service here; the facility picks none
    int prio;
    switch (iPriority) {
        case LOG1_ERR:
            prio = LOG_ERR;
            break;
        case LOG1_WARN:
            prio = LOG_WARNING;
            break;
        case LOG1_INFO:
            prio = LOG_INFO;
            break;
        default:
            return -1;
    }
    if (szText == NULL) {
        return -1;
    }
    const char* user = getenv("USERNAME");
    syslog(prio, "[event] user=[%s] %s", user != NULL ? user : "", szText);
    return 0;
}
